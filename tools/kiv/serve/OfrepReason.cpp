#include "serve/OfrepReason.h"

#include <algorithm>
#include <array>

#include "evaluate/ValueText.h"

namespace kiv::tool {
namespace {

constexpr std::string_view percentage = "bucket"; ///< what a percentage test notes

/// Deeper than this, every percentage counts.
constexpr unsigned deepest = 100;

bool decides(const RecordedEvaluation& evaluation, const RecordedStep& step, unsigned level);

bool argumentDecides(const RecordedEvaluation& evaluation, const RecordedStep& step, std::size_t index,
                     unsigned level) {
    return decides(evaluation, evaluation.steps[step.arguments[index]], level + 1);
}

bool isDecided(const RecordedEvaluation& evaluation, unsigned level) {
    return evaluation.cut || (evaluation.root() && decides(evaluation, *evaluation.root(), level));
}

bool decides(const RecordedEvaluation& evaluation, const RecordedStep& step, unsigned level) {
    if (step.kind != RecordedStep::Kind::call) {
        return false;
    }
    if (level == deepest || step.note(percentage)) {
        return true;
    }
    const auto argument = [&](std::size_t index) -> const RecordedStep& {
        return evaluation.steps[step.arguments[index]];
    };
    const bool isWhole = std::ranges::count(step.arguments, RecordedStep::missing) == 0;
    if (isWhole && step.name == "ifThen") {
        return argumentDecides(evaluation, step, 0, level) ||
               argumentDecides(evaluation, step, argument(1).taken ? 1 : 2, level);
    }
    if (isWhole && (step.name == "and" || step.name == "or")) {
        const bool settling = step.name == "or";
        const bool bothCount = holds(step.value) != settling;
        return std::ranges::any_of(std::array<std::size_t, 2>{0, 1}, [&](std::size_t side) {
            return (bothCount || holds(argument(side).value) == settling) &&
                   argumentDecides(evaluation, step, side, level);
        });
    }
    return std::ranges::any_of(step.evaluations,
                               [&](const auto& inside) { return isDecided(*inside, level + 1); }) ||
           std::ranges::any_of(step.arguments, [&](std::size_t index) {
               return index != RecordedStep::missing &&
                      decides(evaluation, evaluation.steps[index], level + 1);
           });
}

} // namespace

void OfrepTrace::entered(std::string_view, std::string_view) { ++depth_; }

void OfrepTrace::applied(std::string_view name, std::size_t, const std::vector<KivxValue>&,
                         const KivxValue&) {
    static constexpr std::array<std::string_view, 7> asking{"property",
                                                            "isInTargetGroup",
                                                            "isInPercentage",
                                                            "isInPercentageRange",
                                                            "flagValue",
                                                            "isTargetGroupPaired",
                                                            "now"};
    testsKey_ = testsKey_ || (isKeyOnTop_ && name == "isUndefined");
    isKeyOnTop_ = isKeyOnTop_ && name == "property";
    asks_ = asks_ || std::ranges::find(asking, name) != asking.end();
}

void OfrepTrace::failed(std::string_view name, std::size_t, std::string_view reason) {
    if (depth_ == 1) {
        failure_ = (name.empty() ? "" : "\"" + std::string(name) + "\": ") + std::string(reason);
    }
}

void OfrepTrace::noted(std::string_view what, const KivxValue&) {
    hasPercentage_ = hasPercentage_ || what == percentage;
    isKeyOnTop_ = what == missingKey;
    lacksKey_ = lacksKey_ || isKeyOnTop_;
}

void OfrepTrace::left(const KivxValue&) { --depth_; }

bool isDecidedByPercentage(const RecordedEvaluation& evaluation) { return isDecided(evaluation, 0); }

} // namespace kiv::tool
