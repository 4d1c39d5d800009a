#pragma once

#include <string>

#include "KivxLanguage/KivxParser.h"

/// The kind of a value and its description: "boolean 1", "string abc".
inline std::string kindAndText(const KivxValue& value) {
    constexpr const char* kinds[] = {"none",   "undefined", "boolean", "integer",   "real",
                                     "string", "date",      "array",   "dictionary"};
    return std::string(kinds[static_cast<int>(value.kind())]) + " " + value.description();
}

/// Kind and text of the value of an expression; "undefined" for the value `undefined`, "empty" when the
/// evaluation failed.
inline std::string outcome(const KivxParser& parser, std::string_view expression,
                           std::string_view flagName = "flag", const EvaluationContext& context = {}) {
    const auto result = parser.evaluateExpression(expression, flagName, context);
    return !result ? "undefined" : result->value().isNone() ? "empty" : kindAndText(result->value());
}

/// An expression and the `outcome` that it should have.
struct OutcomeCase {
    std::string expression;
    std::string outcome;
};

template <std::size_t count>
void expectOutcomes(const KivxParser& parser, const OutcomeCase (&cases)[count]) {
    for (const auto& [expression, expected] : cases) {
        EXPECT_EQ(outcome(parser, expression), expected) << expression;
    }
}
