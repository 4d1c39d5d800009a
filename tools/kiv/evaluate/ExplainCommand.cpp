#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Command.h"
#include "Terminal.h"
#include "config/ConfigDocument.h"
#include "evaluate/EvaluationOptions.h"
#include "evaluate/EvaluationRecord.h"
#include "evaluate/EvaluationWorld.h"
#include "evaluate/Explanation.h"
#include "expression/Words.h"

namespace kiv::tool {
namespace {

constexpr const char* examples = R"TEXT(Examples:
  kiv explain 'isInPercentage(0.5, mergeSeed("button", property("userId")))' \
      --property userId=ada
  kiv explain --config configuration.json --flag store.buttonColor --property userId=ada
  kiv explain 'isInTargetGroup("loyal")' --config configuration.json --property orders=12

With --config, the expression can use the target groups and the flags of the document.
The document's signature is not checked; 'kiv config verify' does that.

The exit code is 1 when the evaluation fails.)TEXT";

struct Options {
    std::string expression;
    std::string config;
    std::string flag;
    std::string flagName;
    EvaluationOptions world;
    bool asJson = false;
};

ExplainedFlag flagOf(const ConfigDocument& document, const EvaluationWorld& world, const std::string& name) {
    const std::size_t decider = deciderOf(document, name);
    ExplainedFlag flag{name, document.path, decider + 1, {}, *world.experimentFor(name)};
    const json::array& experiments = experimentsOf(document.payload);
    for (std::size_t index = 0; index < experiments.size(); ++index) {
        if (index != decider && std::ranges::count(flagsOf(experiments[index]), name) > 0) {
            flag.overruled.push_back(index + 1);
        }
    }
    return flag;
}

void refuseWrongUsage(const Options& options, bool hasExpression) {
    if (hasExpression != options.flag.empty()) {
        throw WrongUsage("explain takes either an expression, or --config and --flag");
    }
    if (!options.flag.empty() && options.config.empty()) {
        throw WrongUsage("--flag needs --config with the document of the flag");
    }
    if (!options.flag.empty() && !options.flagName.empty()) {
        throw WrongUsage("--flag-name belongs to an expression; --flag names the flag itself");
    }
}

int explain(const Options& options) {
    std::optional<ConfigDocument> document;
    const EvaluationRequest request = options.world.request();
    if (!options.config.empty()) {
        document.emplace(options.config);
    }
    const EvaluationWorld world(request, document ? &document->payload : nullptr);
    std::optional<ExplainedFlag> flag;
    if (!options.flag.empty()) {
        flag.emplace(flagOf(*document, world, options.flag));
    }
    EvaluationRecorder recorder(world.parser().operators());
    std::optional<KivxEvaluationResult> result;
    {
        const KivxTrace::Scope scope(recorder);
        result = flag ? world.evaluate(flag->model.deploymentConfiguration().condition(), flag->name)
                      : world.evaluate(options.expression, options.flagName);
    }
    const Explanation explanation{world, recorder.evaluation(), result, flag};
    if (options.asJson) {
        std::cout << prettyJson(explanationJson(explanation)) << '\n';
    } else {
        printExplanation(explanation);
    }
    return explanation.failed() ? exitBadInput : exitFine;
}

} // namespace

void addExplainCommand(CLI::App& parent, int& exitCode) {
    auto options = std::make_shared<Options>();
    CLI::App* command =
        parent.add_subcommand("explain", "Explain step by step why an expression or a flag has its value");
    CLI::Option* expression =
        command->add_option("EXPRESSION", options->expression, "The expression to explain")->type_name("");
    command->add_option("--config", options->config, "Envelope or payload, - for standard input")
        ->type_name("FILE");
    command->add_option("--flag", options->flag, "The flag of the document to explain")->type_name("NAME");
    command->add_option("--flag-name", options->flagName, "The flag that the expression is evaluated for")
        ->type_name("NAME");
    options->world.addTo(*command);
    command->add_flag("--json", options->asJson, "Print JSON");
    command->footer(std::string(examples) + EvaluationOptions::typesHelp);
    command->callback([options, expression, &exitCode] {
        refuseWrongUsage(*options, !expression->empty());
        exitCode = explain(*options);
    });
}

} // namespace kiv::tool
