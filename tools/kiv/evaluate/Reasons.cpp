#include "evaluate/Reasons.h"

#include <algorithm>

#include "Terminal.h"
#include "evaluate/FailureText.h"
#include "evaluate/StepText.h"
#include "evaluate/ValueText.h"

namespace kiv::tool {
namespace {

constexpr unsigned deepest = 100;
constexpr std::size_t mostFacts = 1000;

/// Collects the facts of one evaluation and of those inside it.
class Collector {
public:
    Collector(const EvaluationWorld& world, std::vector<Reason>& facts) : world_(world), facts_(facts) {}

    void evaluation(const RecordedEvaluation& evaluation, std::size_t depth) {
        if (evaluation.failure) {
            add({evaluation, depth},
                "this evaluation fails: " + failureLine(evaluation, world_.parser().operators()));
        } else if (const RecordedStep* root = evaluation.root()) {
            step({evaluation, depth}, *root, 0);
        }
    }

private:
    struct Where {
        const RecordedEvaluation& evaluation;
        std::size_t depth;
    };

    void step(const Where& where, const RecordedStep& own, unsigned level) {
        if (own.kind != RecordedStep::Kind::call || level == deepest || facts_.size() == mostFacts) {
            return;
        }
        if (std::ranges::count(own.arguments, RecordedStep::missing) > 0) {
            fact(where, own);
        } else if (isChoice(own)) {
            if (const std::string remark = remarkOnArguments(where.evaluation, own); !remark.empty()) {
                add(where, remark);
            }
            choice(where, own, level);
        } else {
            fact(where, own);
        }
    }

    /// Whether the operator passes on what its arguments say.
    static bool isChoice(const RecordedStep& own) {
        return own.name == "ifThen" || own.name == "and" || own.name == "or" || own.name == "not";
    }

    void choice(const Where& where, const RecordedStep& own, unsigned level) {
        if (own.name == "ifThen") {
            argument(where, own, 0, level);
            argument(where, own, holds(argumentOf(where, own, 0).value) ? 1 : 2, level);
        } else if (own.name == "not") {
            argument(where, own, 0, level);
        } else {
            either(where, own, level);
        }
    }

    static const RecordedStep& argumentOf(const Where& where, const RecordedStep& own, std::size_t index) {
        return where.evaluation.steps[own.arguments[index]];
    }

    void argument(const Where& where, const RecordedStep& own, std::size_t index, unsigned level) {
        step(where, argumentOf(where, own, index), level + 1);
    }

    /// One side is enough to decide: a false side for `and`, a true side for `or`.
    void either(const Where& where, const RecordedStep& own, unsigned level) {
        const bool settling = own.name == "or";
        const bool bothCount = holds(own.value) != settling;
        for (const std::size_t index : {std::size_t{0}, std::size_t{1}}) {
            if (bothCount || holds(argumentOf(where, own, index).value) == settling) {
                argument(where, own, index, level);
            }
        }
    }

    void fact(const Where& where, const RecordedStep& own) {
        add(where, factText(where.evaluation, own));
        inside(where, own, 0);
    }

    /// Collects the facts of the evaluations inside the step and its arguments.
    void inside(const Where& where, const RecordedStep& own, unsigned level) {
        for (const auto& evaluation : own.evaluations) {
            this->evaluation(*evaluation, where.depth + 1);
        }
        for (const std::size_t index : own.arguments) {
            if (index != RecordedStep::missing && level < deepest) {
                inside(where, where.evaluation.steps[index], level + 1);
            }
        }
    }

    void add(const Where& where, std::string text) { facts_.push_back({where.depth, std::move(text)}); }

    std::string factText(const RecordedEvaluation& evaluation, const RecordedStep& own) const {
        std::string details;
        unsigned left = mostDetails;
        collectProperties(evaluation, own, details, left, 0);
        if (own.name == "property" && !details.empty()) {
            return details;
        }
        if (own.name == "isInTargetGroup" || own.name == "flagValue") {
            details = remark(evaluation, own, world_);
        }
        std::string text = outcomeText(evaluation, own) + (details.empty() ? "" : ": " + details);
        unsigned remarks = mostRemarks;
        appendRemarks(evaluation, own, text, remarks, 0);
        return text;
    }

    /// Appends what the step and its arguments made of their arguments, at most `left` remarks; each lowers
    /// `left` by one.
    static void appendRemarks(const RecordedEvaluation& evaluation, const RecordedStep& own,
                              std::string& text, unsigned& left, unsigned level) {
        if (left == 0 || level == deepest) {
            return;
        }
        if (const std::string remark = remarkOnArguments(evaluation, own); !remark.empty()) {
            text += "; " + remark;
            --left;
        }
        for (const std::size_t index : own.arguments) {
            if (index != RecordedStep::missing) {
                appendRemarks(evaluation, evaluation.steps[index], text, left, level + 1);
            }
        }
    }

    static std::string outcomeText(const RecordedEvaluation& evaluation, const RecordedStep& own) {
        const auto argumentText = [&](std::size_t index) {
            return literalText(evaluation.steps[own.arguments[index]].value);
        };
        if (own.note("bucket")) {
            const bool isRange = own.name == "isInPercentageRange";
            return literalText(*own.note("seed")) + " falls into bucket " + bucketText(evaluation, own) +
                   (holds(own.value) ? ", inside " : ", outside ") + (isRange ? argumentText(0) : "0") +
                   " to " + argumentText(isRange ? 1 : 0);
        }
        if (own.name == "isInTargetGroup" && own.arguments.front() != RecordedStep::missing) {
            return (holds(own.value) ? "in the target group " : "not in the target group ") + argumentText(0);
        }
        return sourceText(evaluation, own) + " is " + literalText(own.value);
    }

    /// Appends the properties that the step depends on to `details`: orders is 12, country is "FR". Appends
    /// at most `left` properties; each lowers `left` by one.
    static void collectProperties(const RecordedEvaluation& evaluation, const RecordedStep& own,
                                  std::string& details, unsigned& left, unsigned level) {
        for (const std::size_t index : own.arguments) {
            if (left == 0 || level == deepest || index == RecordedStep::missing) {
                return;
            }
            const RecordedStep& argument = evaluation.steps[index];
            if (own.name == "property" && argument.value.text()) {
                const std::string text = printable(*argument.value.text()) + " is " + literalText(own.value);
                if (details.find(text) == details.npos) {
                    details += (details.empty() ? "" : ", ") + text;
                }
                --left;
            } else if (argument.kind == RecordedStep::Kind::call) {
                collectProperties(evaluation, argument, details, left, level + 1);
            }
        }
    }

    static constexpr unsigned mostDetails = 6;
    static constexpr unsigned mostRemarks = 3;

    const EvaluationWorld& world_;
    std::vector<Reason>& facts_;
};

} // namespace

Reasons reasonsFor(const RecordedEvaluation& evaluation, const EvaluationWorld& world) {
    Reasons reasons;
    Collector(world, reasons.facts).evaluation(evaluation, 0);
    if (reasons.facts.size() > 2 * Reasons::keptAtEachEnd) {
        reasons.skipped = reasons.facts.size() - 2 * Reasons::keptAtEachEnd;
        const auto gap = reasons.facts.begin() + Reasons::keptAtEachEnd;
        reasons.facts.erase(gap, gap + static_cast<std::ptrdiff_t>(reasons.skipped));
    }
    return reasons;
}

} // namespace kiv::tool
