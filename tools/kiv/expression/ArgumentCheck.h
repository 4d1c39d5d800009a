#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "expression/ExpressionLexer.h"
#include "expression/ExpressionUse.h"
#include "expression/OperatorSignatures.h"

namespace kiv::tool {

using Names = std::set<std::string, std::less<>>;

/// What is wrong with an argument of an operator.
struct ArgumentProblem {
    bool isError;
    std::string message;
    std::string advice = {};
};

/// Where an expression stands, and what it may refer to.
struct ExpressionSetting {
    const Names* targetGroups = nullptr; ///< borrowed; null: references to target groups are not checked
    ExpressionUse use = ExpressionUse::flag;
};

/// Checks the argument `index` (below the arity) of `op`. Checks literals only, because the value of a call
/// is not known. The advice says what the evaluator makes of the argument.
std::optional<ArgumentProblem> checkArgument(const OperatorSignature& op, std::size_t index,
                                             const Token& argument, const ExpressionSetting& setting);

/// Checks a literal that is the whole expression.
std::optional<ArgumentProblem> checkWhole(const Token& literal, const ExpressionSetting& setting);

/// What a text counts as where a condition is needed, as a sentence.
inline constexpr std::string_view truthOfTexts =
    "As a condition, a text is true when it begins with t, y or a digit from 1 to 9.";

/// The number that a literal is, or that its text reads as; nothing for all other arguments.
std::optional<double> numberOf(const Token& argument);

} // namespace kiv::tool
