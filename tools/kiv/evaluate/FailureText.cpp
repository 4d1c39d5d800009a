#include "evaluate/FailureText.h"

#include <algorithm>

#include "Platform/Text/Text.h"
#include "Terminal.h"
#include "evaluate/StepText.h"
#include "evaluate/ValueText.h"
#include "expression/OperatorSignatures.h"
#include "expression/TextForms.h"
#include "expression/Words.h"

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
            (kind != textArgument && kind != seedArgument && kind != versionArgument &&
             kind != matchArgument)) {
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

/// Advice for `and` and `or` with an undefined argument; empty for other failures.
std::string adviceForUndefined(const RecordedEvaluation& evaluation, const RecordedStep& failed) {
    if (!failed.isCallOf("and") && !failed.isCallOf("or")) {
        return "";
    }
    for (const std::size_t index : failed.arguments) {
        if (index != RecordedStep::missing && evaluation.steps[index].kind == RecordedStep::Kind::call &&
            evaluation.steps[index].value.isUndefined()) {
            return " To take undefined for false, write eq(" +
                   sourceText(evaluation, evaluation.steps[index]) + ", true).";
        }
    }
    return "";
}

/// The failed operator with its arguments, and advice on them; empty when no operator failed.
std::string givenText(const RecordedEvaluation& evaluation) {
    const auto failed =
        std::ranges::find(evaluation.steps, RecordedStep::Outcome::failed, &RecordedStep::outcome);
    return failed == evaluation.steps.end()
               ? ""
               : "It was called as " + callText(evaluation, *failed) + "." +
                     adviceForNumbers(evaluation, *failed) + adviceForUndefined(evaluation, *failed);
}

/// The reason of a failure in the words of authors, who write undefined and know no error names.
std::string authorText(const RecordedEvaluation& evaluation, const RecordedEvaluation::Failure& failure) {
    constexpr std::string_view undefinedValue = "A value '<null>'";
    constexpr std::string_view badPattern = "Expected a regular expression, but failed with error: ";
    if (failure.reason.starts_with(undefinedValue)) {
        return "undefined" + failure.reason.substr(undefinedValue.size());
    }
    if (failure.reason.starts_with(badPattern)) {
        const auto failed =
            std::ranges::find(evaluation.steps, RecordedStep::Outcome::failed, &RecordedStep::outcome);
        const bool hasPattern = failed != evaluation.steps.end() && failed->isCallOf("match") &&
                                failed->arguments[1] != RecordedStep::missing;
        const auto pattern = hasPattern ? evaluation.steps[failed->arguments[1]].value.text() : std::nullopt;
        return patternProblem(pattern.value_or("?"), failure.reason.substr(badPattern.size()));
    }
    return failure.reason;
}

/// What a finding says about an operator that failed.
std::string adviceOf(const ExpressionFinding& finding, const std::string& expression) {
    return " At " + positionText({expression, finding.position}) + ": " + finding.message + "." +
           (finding.advice.empty() ? "" : " " + finding.advice);
}

} // namespace

BadInput failureOf(const RecordedEvaluation& evaluation, const KivxOperatorTable& operators) {
    const std::string& expression = evaluation.expression;
    std::vector<ExpressionFinding> findings = evaluation.findings;
    std::erase_if(findings, [](const ExpressionFinding& finding) { return !finding.isError; });
    const auto told = [&expression](const ExpressionFinding& finding) {
        return BadInput(finding.message, Spot{expression, finding.position, finding.length}, finding.advice);
    };
    if (!evaluation.failure) {
        const bool isEmpty = expression.find_first_not_of(" \t\r\n") == expression.npos;
        return findings.empty() || isEmpty ? BadInput("the expression contains no value", {},
                                                      "Write one, for example true or \"text\".")
                                           : told(findings.front());
    }
    const auto& [name, position, reason] = *evaluation.failure;
    if (name.empty()) {
        const bool isCircle = reason == "The expression depends on itself";
        std::string message = reason;
        message.front() = lowercasedAscii(message.substr(0, 1)).front();
        return BadInput(message, {},
                        isCircle ? "'kiv config lint' shows the circle that it goes round."
                                 : "Write a smaller expression; docs/expressions.md lists the limits.");
    }
    if (operators.find(name)) {
        const std::string advice =
            givenText(evaluation) + (findings.empty() ? "" : adviceOf(findings.front(), expression));
        return BadInput("the operator " + inQuotes(name) +
                            " fails: " + authorText(evaluation, *evaluation.failure),
                        Spot{expression, position, name.size()}, advice);
    }
    // The word is unknown. The reader's finding at the position of the word explains that best. When there is
    // none, the reader's first finding does, because an earlier mistake is often the cause.
    const auto found = std::ranges::find(findings, position, &ExpressionFinding::position);
    if (found != findings.end()) {
        return told(*found);
    }
    return findings.empty()
               ? BadInput("unknown word " + inQuotes(name), Spot{expression, position, name.size()},
                          adviceForUnknownWord(name, false))
               : told(findings.front());
}

std::string failureLine(const RecordedEvaluation& evaluation, const KivxOperatorTable& operators) {
    const BadInput problem = failureOf(evaluation, operators);
    return messageText(problem) + (problem.advice.empty() ? "" : ". " + printable(problem.advice));
}

} // namespace kiv::tool
