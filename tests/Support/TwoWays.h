#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KivxLanguage/KivxParser.h"
#include "KivxLanguage/KivxTrace.h"
#include "KivxLanguage/KivxWords.h"
#include "Support/Outcome.h"

/// Keeps all that a trace is told of one evaluation and the evaluations inside it.
class KeptTrace : public KivxTrace {
public:
    void entered(std::string_view, std::string_view flagName) override { add("entered", flagName); }
    void applied(std::string_view name, std::size_t position, const std::vector<KivxValue>& arguments,
                 const KivxValue& result) override {
        add(name, std::to_string(position));
        for (const KivxValue& argument : arguments) {
            add(" argument", argument);
        }
        add(" result", result);
    }
    void failed(std::string_view name, std::size_t position, std::string_view reason) override {
        add("failed", name);
        add(std::to_string(position), reason);
    }
    void noted(std::string_view what, const KivxValue& value) override { add(what, value); }
    void left(const KivxValue& result) override { add("left", result); }

    /// For after the evaluation: then a value that borrows has nothing to borrow from.
    std::string text() const {
        std::string all;
        for (const auto& [what, value] : kept_) {
            all.append(what).append(" ").append(kindAndText(value)).append("\n");
        }
        return all;
    }

private:
    void add(std::string_view what, const KivxValue& value) { kept_.emplace_back(what, value); }

    std::vector<std::pair<std::string, KivxValue>> kept_;
};

/// Value, kind, flag text, failure and trace of an expression, to compare two ways of evaluating it.
inline std::string allOf(const KivxParser& parser, const std::string& expression) {
    std::string own;
    const auto text = parser.evaluateText(expression, "store.flag", {}, own);
    KeptTrace trace;
    std::string all =
        outcome(parser, expression, "store.flag") + "\n" + std::string(text.value_or("no text")) + "\n";
    const KivxTrace::Scope scope(trace);
    outcome(parser, expression, "store.flag");
    return all + trace.text();
}

/// Whether the expression is evaluated the fast way.
inline bool isCutFast(const std::string& expression) { return KivxWords().cut(expression); }

/// The expression with spaces behind it that make it too long for the fast way. The spaces change nothing of
/// an expression for which `isCutFast` is true.
inline std::string forTheGeneralWay(const std::string& expression) {
    return expression + std::string(KivxWords::longest + 1, ' ');
}
