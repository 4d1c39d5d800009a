#include "evaluate/FailureText.h"

#include <algorithm>

#include "Terminal.h"
#include "evaluate/StepText.h"
#include "evaluate/ValueText.h"
#include "expression/OperatorSignatures.h"

namespace kiv::tool {
namespace {

/// Advice for an operator that takes texts but got properties that are numbers: how to give those properties
/// as texts. Empty for other failures.
std::string adviceForNumbers(const RecordedEvaluation& evaluation, const RecordedStep& failed) {
    std::string advice;
    const OperatorSignature* signature = operatorSignature(failed.name);
    for (std::size_t index = 0; signature && index < signature->arity(); ++index) {
        const char kind = signature->kinds[index];
        if (failed.arguments[index] == RecordedStep::missing ||
            (kind != textArgument && kind != seedArgument)) {
            continue;
        }
        const RecordedStep& argument = evaluation.steps[failed.arguments[index]];
        if (argument.isCallOf("property") && argument.value.isNumber()) {
            const RecordedStep& name = evaluation.steps[argument.arguments.front()];
            advice += " To give the property as a text: " + toText(name.value) +
                      (failed.name.starts_with("semver") ? ":semver=" : ":string=") + toText(argument.value) +
                      ".";
        }
    }
    return advice;
}

/// The failed operator with its arguments, and advice on them; empty when no operator failed.
std::string givenText(const RecordedEvaluation& evaluation) {
    const auto failed =
        std::ranges::find(evaluation.steps, RecordedStep::Outcome::failed, &RecordedStep::outcome);
    return failed == evaluation.steps.end() ? ""
                                            : "It was called as " + callText(evaluation, *failed) + "." +
                                                  adviceForNumbers(evaluation, *failed);
}

} // namespace

BadInput failureOf(const RecordedEvaluation& evaluation, const KivxOperatorTable& operators) {
    if (!evaluation.failure) {
        return BadInput("the expression contains no value");
    }
    const auto& [name, position, reason] = *evaluation.failure;
    const std::string& expression = evaluation.expression;
    std::vector<ExpressionFinding> findings = errorsIn(expression);
    if (name.empty()) {
        return BadInput("the expression fails: " + reason);
    }
    if (operators.find(name)) {
        std::string advice = givenText(evaluation);
        if (!findings.empty()) {
            const ExpressionFinding& first = findings.front();
            advice += " At " + positionText({expression, first.position}) + ": " + first.message + ". " +
                      first.advice;
        }
        return BadInput("the operator " + inQuotes(name) + " fails: " + reason,
                        Spot{expression, position, name.size()}, advice);
    }
    // The word is unknown. The reader's finding at the position of the word explains that best. When there is
    // none, the reader's first finding does, because an earlier mistake is often the cause.
    findings.push_back({true, position, name.size(), "unknown word " + inQuotes(name), ""});
    auto found = std::ranges::find(findings, position, &ExpressionFinding::position);
    if (found + 1 == findings.end()) {
        found = findings.begin();
    }
    return BadInput(found->message, Spot{expression, found->position, found->length}, found->advice);
}

std::vector<ExpressionFinding> errorsIn(std::string_view expression) {
    std::vector<ExpressionFinding> findings = ExpressionReader(expression, nullptr).read();
    std::erase_if(findings, [](const ExpressionFinding& finding) { return !finding.isError; });
    return findings;
}

} // namespace kiv::tool
