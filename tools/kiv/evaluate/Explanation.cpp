#include "evaluate/Explanation.h"

#include <algorithm>

#include "evaluate/FailureText.h"
#include "evaluate/Reasons.h"
#include "evaluate/StepText.h"
#include "evaluate/ValueText.h"

namespace kiv::tool {
namespace {

constexpr unsigned deepest = 100; // steps and evaluations inside one another

json::object evaluationJson(const RecordedEvaluation& evaluation, const Explanation& explanation,
                            unsigned depth);

void addValue(json::object& object, const KivxValue& value) {
    object["type"] = typeName(value);
    object["value"] = toJson(value);
}

json::object stepJson(const RecordedEvaluation& evaluation, const RecordedStep& step,
                      const Explanation& explanation, unsigned depth) {
    json::object object;
    if (step.kind == RecordedStep::Kind::literal) {
        addValue(object, step.value);
        return object;
    }
    object[step.kind == RecordedStep::Kind::call ? "operator" : "word"] = step.name;
    object["position"] = step.position;
    if (step.outcome == RecordedStep::Outcome::value) {
        object["order"] = step.order;
        object["outcome"] = "value";
        addValue(object, step.value);
        if (const std::string note = remark(evaluation, step, explanation.world); !note.empty()) {
            object["remark"] = note;
        }
    } else {
        object["outcome"] = step.outcome == RecordedStep::Outcome::failed ? "failed" : "notReached";
    }
    if (!step.taken) {
        object["taken"] = false;
    }
    for (const char* what : {"seed", "bucket"}) {
        if (const KivxValue* value = step.note(what)) {
            object[what] = toJson(*value);
        }
    }
    if (depth == deepest) {
        object["cut"] = true;
        return object;
    }
    json::array arguments;
    for (const std::size_t index : step.arguments) {
        arguments.push_back(index == RecordedStep::missing
                                ? json::value()
                                : stepJson(evaluation, evaluation.steps[index], explanation, depth + 1));
    }
    object["arguments"] = std::move(arguments);
    for (const auto& inner : step.evaluations) {
        json::object nested = evaluationJson(*inner, explanation, depth + 1);
        for (const char* what : {"targetGroup", "flag"}) {
            if (const KivxValue* name = step.note(what)) {
                nested[what] = toJson(*name);
            }
        }
        object["evaluation"] = std::move(nested);
    }
    return object;
}

json::object evaluationJson(const RecordedEvaluation& evaluation, const Explanation& explanation,
                            unsigned depth) {
    json::object object{{"expression", evaluation.expression}, {"flagName", evaluation.flagName}};
    append(object, outcome(evaluation.value));
    if (evaluation.failure) {
        object["failure"] = failureOf(evaluation, explanation.world.parser().operators()).what();
    }
    if (evaluation.cut) {
        object["cut"] = true;
    }
    json::array steps;
    for (const std::size_t root : evaluation.roots) {
        steps.push_back(stepJson(evaluation, evaluation.steps[root], explanation, depth));
    }
    object["steps"] = std::move(steps);
    return object;
}

json::object failureJson(const Explanation& explanation) {
    const BadInput problem = failureOf(explanation.evaluation, explanation.world.parser().operators());
    json::object object{{"message", problem.what()}, {"advice", problem.advice}};
    if (const auto& failure = explanation.evaluation.failure; failure && !failure->name.empty()) {
        object["word"] = failure->name;
        object["position"] = failure->position;
    }
    return object;
}

json::object flagJson(const ExplainedFlag& flag) {
    return {{"name", flag.name},
            {"document", flag.document},
            {"experiment",
             {{"index", flag.experiment},
              {"id", orNull(flag.model.identifier())},
              {"name", orNull(flag.model.name())},
              {"condition", flag.model.deploymentConfiguration().condition()}}},
            {"overruled", json::array(flag.overruled.begin(), flag.overruled.end())}};
}

} // namespace

json::object explanationJson(const Explanation& explanation) {
    json::object object;
    if (explanation.flag) {
        object["flag"] = flagJson(*explanation.flag);
    }
    append(object, outcome(explanation.result));
    if (explanation.failed()) {
        object["failure"] = failureJson(explanation);
    }
    json::array reasons;
    for (const Reason& reason : explanation.failed()
                                    ? std::vector<Reason>()
                                    : reasonsFor(explanation.evaluation, explanation.world).facts) {
        reasons.push_back({{"depth", reason.depth}, {"text", reason.text}});
    }
    object["reasons"] = std::move(reasons);
    json::array properties;
    for (const PropertyRead& read : propertiesRead(explanation.evaluation, explanation.world)) {
        json::object property{{"name", read.name}};
        addValue(property, read.value);
        property["source"] = read.source;
        properties.push_back(std::move(property));
    }
    object["properties"] = std::move(properties);
    object["evaluation"] = evaluationJson(explanation.evaluation, explanation, 0);
    return object;
}

} // namespace kiv::tool
