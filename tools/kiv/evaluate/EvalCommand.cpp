#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "Command.h"
#include "Terminal.h"
#include "evaluate/EvaluationOptions.h"
#include "evaluate/EvaluationRecord.h"
#include "evaluate/EvaluationWorld.h"
#include "evaluate/FailureText.h"
#include "evaluate/StepText.h"
#include "evaluate/ValueText.h"

namespace kiv::tool {
namespace {

constexpr const char* examples = R"TEXT(Examples:
  kiv eval 'ifThen(semverGte("1.10", "1.9"), "new", "old")'
  kiv eval 'gte(property("orders"), 10)' --property orders=12
  kiv eval 'isInTargetGroup("new")' --property appVersion:semver=2.10 \
      --target-group 'new=semverGte(property("appVersion"), "2.9")'
  kiv eval -- -5
  echo '{"expression": "numeq(\"1.0\", 1)"}' | kiv eval --batch

A batch is one JSON object per line:
  {"expression": TEXT, "flagName": TEXT, "properties": {NAME: VALUE},
   "context": {NAME: VALUE}, "targetGroups": {IDENTIFIER: CONDITION}}
Only the expression is required. A property's value is a text, a number, a boolean, or
  {"type": "string|semver|datetime|bool|int|double", "value": VALUE}
Each line is answered by one line, in the same order:
  {"outcome":"value","type":TYPE,"value":VALUE,"stringValue":TEXT or null}
  {"outcome":"undefined"}              the value is undefined
  {"outcome":"empty"}                  the evaluation failed, or gave no value
  {"outcome":"error","reason":TEXT}    the line is not a request, or has a member that requests
                                       do not have; the exit code is then 1
Empty lines are skipped.)TEXT";

/// Tells a person at a terminal what is odd about an evaluation that gave a value. Programs read the value
/// alone.
void tellOddities(const RecordedEvaluation& evaluation, const KivxOperatorTable& operators) {
    const Terminal terminal = Terminal::ofErrors();
    if (!terminal.isTerminal() || !Terminal::ofOutput().isTerminal()) {
        return;
    }
    std::cout.flush();
    const auto failureText = [&operators](const RecordedEvaluation& inner) {
        return "an evaluation inside fails: " + failureLine(inner, operators);
    };
    const auto found = oddities(evaluation, failureText);
    for (const std::string& text : found) {
        std::cerr << "  • " << terminal.wrapped(text, 4, 4) << '\n';
    }
    if (!found.empty()) {
        std::cerr << "  'kiv explain' shows every step.\n";
    }
}

int evaluateOne(const EvaluationRequest& request) {
    const EvaluationWorld world(request);
    EvaluationRecorder recorder(world.parser().operators());
    std::optional<KivxEvaluationResult> result;
    {
        const KivxTrace::Scope scope(recorder);
        result = world.evaluate(request.expression, request.flagName);
    }
    if (result && result->value().isNone()) {
        throw failureOf(recorder.evaluation(), world.parser().operators());
    }
    std::cout << (result ? toText(result->value()) : "undefined") << '\n';
    tellOddities(recorder.evaluation(), world.parser().operators());
    return exitFine;
}

json::object answer(const EvaluationRequest& request) {
    const EvaluationWorld world(request);
    return outcome(world.evaluate(request.expression, request.flagName));
}

json::object answerLine(const std::string& line) {
    std::string error;
    const auto document = parseJson(line, &error);
    if (!document) {
        throw BadInput("not JSON: " + error, {}, "Write one JSON object on each line.");
    }
    return answer(parseRequest(*document));
}

int evaluateBatch() {
    int exitCode = exitFine;
    for (std::string line; std::getline(std::cin, line);) {
        if (line.find_first_not_of(" \t\r") == line.npos) {
            continue;
        }
        json::object answered;
        try {
            answered = answerLine(line);
        } catch (const BadInput& problem) {
            answered = {{"outcome", "error"}, {"reason", problem.reason()}};
            exitCode = exitBadInput;
        }
        std::cout << compactJson(answered) << std::endl;
    }
    return exitCode;
}

} // namespace

void addEvalCommand(CLI::App& parent, int& exitCode) {
    struct Options {
        std::string expression;
        std::string flagName;
        EvaluationOptions world;
        bool batch = false;
    };
    auto options = std::make_shared<Options>();
    CLI::App* command = parent.add_subcommand("eval", "Evaluate an expression and print its value");
    CLI::Option* expression =
        command->add_option("EXPRESSION", options->expression, "The expression to evaluate")->type_name("");
    command->add_option("--flag-name", options->flagName, "The flag that the expression is evaluated for")
        ->type_name("NAME");
    options->world.addTo(*command);
    command->add_flag("--batch", options->batch,
                      "Read requests from standard input, one JSON object per line");
    command->footer(std::string(examples) + EvaluationOptions::typesHelp);
    command->callback([options, expression, &exitCode] {
        if (expression->empty() != options->batch) {
            throw WrongUsage("eval takes either an expression or --batch");
        }
        if (options->batch && (options->world.given() || !options->flagName.empty())) {
            throw WrongUsage(
                "with --batch, each request has its own properties, context, target groups and flag name");
        }
        if (options->batch) {
            exitCode = evaluateBatch();
            return;
        }
        EvaluationRequest request = options->world.request();
        request.expression = options->expression;
        request.flagName = options->flagName;
        exitCode = evaluateOne(request);
    });
}

} // namespace kiv::tool
