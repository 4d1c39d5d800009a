#include "evaluate/StepText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <utility>

#include "Platform/Text/Text.h"
#include "Terminal.h"
#include "evaluate/KindRemark.h"
#include "evaluate/ValueText.h"
#include "expression/Words.h"

namespace kiv::tool {
namespace {

constexpr std::size_t mostElements = 8;
constexpr unsigned deepestSource = 6;

std::string elementsText(const KivxValue::Elements& elements) {
    std::string text;
    for (std::size_t index = 0; index < elements.size(); ++index) {
        if (index == mostElements) {
            return text + ", … " + std::to_string(elements.size() - mostElements) + " more";
        }
        text += (index == 0 ? "" : ", ") + literalText(elements[index]);
    }
    return text;
}

std::string membersText(const KivxValue::Dictionary& members) {
    std::string text;
    std::size_t shown = 0;
    for (const auto& [key, value] : members) {
        if (shown++ == mostElements) {
            return text + ", … " + std::to_string(members.size() - mostElements) + " more";
        }
        text += (text.empty() ? "" : ", ") + literalText(key) + ": " + literalText(value);
    }
    return text;
}

/// The operator's name and its arguments in parentheses; `argumentText` gives the text of an argument.
template <class ArgumentText>
std::string call(const RecordedEvaluation& evaluation, const RecordedStep& step, ArgumentText argumentText) {
    std::string text;
    for (const std::size_t argument : step.arguments) {
        text += (text.empty() ? "" : ", ") +
                (argument == RecordedStep::missing ? "(missing)" : argumentText(evaluation.steps[argument]));
    }
    return printable(step.name) + "(" + text + ")";
}

std::string sourceText(const RecordedEvaluation& evaluation, const RecordedStep& step, unsigned depth) {
    if (step.kind != RecordedStep::Kind::call) {
        return step.kind == RecordedStep::Kind::literal ? literalText(step.value) : printable(step.name);
    }
    if (depth == deepestSource) {
        return printable(step.name) + "(…)";
    }
    return call(evaluation, step,
                [&](const RecordedStep& argument) { return sourceText(evaluation, argument, depth + 1); });
}

/// The text argument of an operator whose only argument is a text; else null.
const KivxValue* onlyText(const RecordedEvaluation& evaluation, const RecordedStep& step) {
    if (step.arguments.size() != 1 || step.arguments.front() == RecordedStep::missing) {
        return nullptr;
    }
    const KivxValue& value = evaluation.steps[step.arguments.front()].value;
    return value.text() ? &value : nullptr;
}

std::string sourceOf(std::string_view name, const KivxValue& value, const EvaluationWorld& world) {
    if (const auto property = world.properties().customPropertyForName(name)) {
        return property->type();
    }
    const auto given = world.context().dynamicPropertyContext.values();
    if (!value.isUndefined()) {
        return "from the context";
    }
    if (given.contains(name)) {
        return given.find(name)->second.isUndefined() ? "undefined in the context"
                                                      : "in the context, which target groups do not see";
    }
    if (name.starts_with("kiv.")) {
        return "not given; an application has it from the library";
    }
    std::vector<std::string> names;
    for (const auto& each : world.properties().availableCustomProperties()) {
        names.push_back(each->name());
    }
    for (const auto& [each, ignored] : given) {
        names.push_back(each);
    }
    const std::vector<std::string_view> candidates(names.begin(), names.end());
    const std::string_view meant = closest(name, candidates);
    return meant.empty() ? "not given" : "not given, but " + inQuotes(meant) + " is";
}

std::string groupRemark(const KivxValue* identifier, const RecordedStep& step, const EvaluationWorld& world) {
    if (!identifier || !world.hasTargetGroup(*identifier->text())) {
        return "there is no such target group";
    }
    if (step.evaluations.empty()) {
        return "it has no condition";
    }
    return step.evaluations.front()->value.isNone() ? "its condition fails, which counts as false" : "";
}

std::string flagRemark(const KivxValue* name, const RecordedStep& step, const EvaluationWorld& world) {
    if (!name || !world.experimentFor(*name->text())) {
        return "nothing gives this flag a value, which counts as \"false\" here";
    }
    const bool hasValue =
        !step.evaluations.empty() && step.evaluations.front()->value.stringValue().has_value();
    return hasValue ? "" : "it gets no value: \"false\" here, and the flag's default in an application";
}

/// What the operator does with an undefined argument; empty when no argument is undefined, or when no remark
/// is needed.
std::string remarkOnUndefined(const RecordedEvaluation& evaluation, const RecordedStep& step) {
    const bool hasUndefined = std::ranges::any_of(step.arguments, [&](std::size_t argument) {
        return argument != RecordedStep::missing && evaluation.steps[argument].value.isUndefined();
    });
    if (!hasUndefined) {
        return "";
    }
    if (step.isCallOf("mergeSeed")) {
        return "undefined becomes the text \"<null>\", so all users for whom it is undefined share a bucket";
    }
    if (step.isCallOf("eq") || step.isCallOf("ne") || step.isCallOf("not")) {
        return "undefined counts as false";
    }
    constexpr std::string_view comparisons[] = {"lt", "lte", "gt", "gte", "numeq", "numne", "match"};
    const bool isComparison =
        step.name.starts_with("semver") || std::ranges::find(comparisons, step.name) != std::end(comparisons);
    return isComparison ? "always false when an argument is undefined" : "";
}

/// What is to be said about the result of an operator that ran: its bucket, or where its value comes from.
std::string remarkOnResult(const RecordedEvaluation& evaluation, const RecordedStep& step,
                           const EvaluationWorld& world) {
    if (step.note("bucket")) {
        return "bucket " + bucketText(evaluation, step) + " of the seed " + literalText(*step.note("seed"));
    }
    if (const std::string text = remarkOnUndefined(evaluation, step); !text.empty()) {
        return text;
    }
    const KivxValue* name = onlyText(evaluation, step);
    if (step.isCallOf("property")) {
        return name ? sourceOf(*name->text(), step.value, world) : "the name is not a text";
    }
    if (step.isCallOf("isInTargetGroup")) {
        return groupRemark(name, step, world);
    }
    if (step.isCallOf("flagValue")) {
        return flagRemark(name, step, world);
    }
    return step.isCallOf("isTargetGroupPaired") ? "no device is linked to target groups here" : "";
}

/// Whether the finding is about a literal argument of the operator, which ran.
bool isAbout(const ExpressionFinding& finding, const RecordedEvaluation& evaluation,
             const RecordedStep& step) {
    return step.kind == RecordedStep::Kind::call && step.outcome == RecordedStep::Outcome::value &&
           std::ranges::any_of(step.arguments, [&](std::size_t argument) {
               return argument != RecordedStep::missing &&
                      evaluation.steps[argument].kind == RecordedStep::Kind::literal &&
                      evaluation.steps[argument].position == finding.position;
           });
}

template <class Visit>
void forEachStep(const RecordedEvaluation& evaluation, Visit visit) {
    for (const RecordedStep& step : evaluation.steps) {
        visit(evaluation, step);
        for (const auto& inner : step.evaluations) {
            forEachStep(*inner, visit);
        }
    }
}

} // namespace

std::string literalText(const KivxValue& value) {
    if (const auto text = value.text()) {
        return inQuotes(*text);
    }
    if (const auto elements = value.elements()) {
        return "[" + elementsText(*elements) + "]";
    }
    if (const auto* members = value.dictionary()) {
        return "{" + membersText(*members) + "}";
    }
    return value.isNone() ? "nothing" : toText(value);
}

std::string callText(const RecordedEvaluation& evaluation, const RecordedStep& step) {
    if (step.kind != RecordedStep::Kind::call) {
        return sourceText(evaluation, step);
    }
    return call(evaluation, step, [](const RecordedStep& argument) {
        return argument.outcome == RecordedStep::Outcome::value ? literalText(argument.value) : "…";
    });
}

std::string sourceText(const RecordedEvaluation& evaluation, const RecordedStep& step) {
    return sourceText(evaluation, step, 0);
}

std::string bucketText(const RecordedEvaluation& evaluation, const RecordedStep& step) {
    const double bucket = *step.note("bucket")->real();
    for (const std::size_t argument : step.arguments) {
        constexpr double veryNear = 1e-6;
        const KivxValue& bound = evaluation.steps[argument].value; // present: the seed comes after the bounds
        if (bound.isNumber() && std::abs(bound.doubleValue() - bucket) < veryNear) {
            return doubleText(bucket);
        }
    }
    char text[16];
    std::snprintf(text, sizeof text, "%.6f", bucket);
    return text;
}

std::string remarkOnArguments(const RecordedEvaluation& evaluation, const RecordedStep& step) {
    std::string text = kindRemark(evaluation, step);
    if (step.name.starts_with("semver")) {
        return text; // a warning about one version does not know the other one
    }
    for (const ExpressionFinding& finding : evaluation.findings) {
        if (text.empty() && !finding.isError && isAbout(finding, evaluation, step)) {
            text = finding.message + (finding.advice.empty() ? "" : ". " + finding.advice);
        }
    }
    if (text.ends_with('.')) {
        text.pop_back();
    }
    return printable(text);
}

std::string remark(const RecordedEvaluation& evaluation, const RecordedStep& step,
                   const EvaluationWorld& world) {
    const std::string fact = remarkOnResult(evaluation, step, world);
    const std::string arguments = remarkOnArguments(evaluation, step);
    return fact + (fact.empty() || arguments.empty() ? "" : "; ") + arguments;
}

std::vector<std::string> oddities(const RecordedEvaluation& evaluation,
                                  const std::function<std::string(const RecordedEvaluation&)>& failureText) {
    constexpr std::size_t most = 3;
    std::vector<std::string> found;
    const auto add = [&found](std::string text) {
        if (!text.empty() && found.size() < most && std::ranges::count(found, text) == 0) {
            found.push_back(std::move(text));
        }
    };
    forEachStep(evaluation, [&](const RecordedEvaluation& own, const RecordedStep& step) {
        add(found.size() < most ? remarkOnArguments(own, step) : "");
        for (const auto& inner : step.evaluations) {
            add(inner->failure ? failureText(*inner) : "");
        }
    });
    return found;
}

std::vector<ExpressionFinding> looseFindings(const RecordedEvaluation& evaluation) {
    std::vector<ExpressionFinding> findings = evaluation.findings;
    std::erase_if(findings, [&evaluation](const ExpressionFinding& finding) {
        return std::ranges::any_of(
            evaluation.steps, [&](const RecordedStep& step) { return isAbout(finding, evaluation, step); });
    });
    return findings;
}

std::vector<PropertyRead> propertiesRead(const RecordedEvaluation& evaluation, const EvaluationWorld& world) {
    std::map<std::pair<std::string, std::string>, PropertyRead> read;
    forEachStep(evaluation, [&](const RecordedEvaluation& own, const RecordedStep& step) {
        const KivxValue* name = step.isCallOf("property") ? onlyText(own, step) : nullptr;
        if (name && step.outcome == RecordedStep::Outcome::value) {
            const std::string text(*name->text());
            const std::string source = sourceOf(text, step.value, world);
            read.try_emplace({text, source}, PropertyRead{text, step.value, source});
        }
    });
    std::vector<PropertyRead> result;
    for (auto& [key, each] : read) {
        result.push_back(std::move(each));
    }
    return result;
}

} // namespace kiv::tool
