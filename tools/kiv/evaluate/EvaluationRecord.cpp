#include "evaluate/EvaluationRecord.h"

#include <algorithm>

#include <unicode/utf8.h>

#include "KivxLanguage/KivxTokenizedExpression.h"
#include "evaluate/ValueText.h"
#include "expression/OperatorSignatures.h"

namespace kiv::tool {
namespace {

using Kind = RecordedStep::Kind;
using Outcome = RecordedStep::Outcome;

/// The value as it is recorded: a text is copied, and cut when it is long.
KivxValue kept(const KivxValue& value) {
    constexpr std::size_t longest = RecordedStep::longestText;
    const auto text = value.text();
    if (!text) {
        return value;
    }
    std::size_t end = std::min(text->size(), longest);
    while (end > 0 && end < text->size() && U8_IS_TRAIL((*text)[end])) {
        --end;
    }
    return std::string(text->substr(0, end));
}

/// Builds the steps of one evaluation. Takes its words in the order of the evaluator, from the last to the
/// first.
class Builder {
public:
    explicit Builder(RecordedEvaluation& evaluation) : evaluation_(evaluation) {}

    void addLiteral(const KivxNode& node) { push({.position = node.position, .value = kept(node.value)}); }

    void addUnknownWord(std::string_view word, std::size_t position) {
        push({.kind = Kind::unknownWord,
              .outcome = nextOutcome(),
              .name = std::string(word),
              .position = position});
    }

    /// Adds the step of a call, and takes its arguments from the stack: `arity` steps, or `missing`.
    void addCall(RecordedStep&& step, std::size_t arity) {
        step.kind = Kind::call;
        for (; arity > 0; --arity) {
            step.arguments.push_back(stack_.empty() ? RecordedStep::missing : stack_.back());
            if (!stack_.empty()) {
                stack_.pop_back();
            }
        }
        if (step.outcome == Outcome::value && step.name == "ifThen") {
            markChoice(step);
        }
        step.order = step.outcome == Outcome::notReached ? 0 : ++order_;
        push(std::move(step));
    }

    /// The first step without a value is the one that failed.
    Outcome nextOutcome() { return std::exchange(over_, true) ? Outcome::notReached : Outcome::failed; }

    void finish() { evaluation_.roots.assign(stack_.rbegin(), stack_.rend()); }

private:
    void push(RecordedStep&& step) {
        stack_.push_back(evaluation_.steps.size());
        evaluation_.steps.push_back(std::move(step));
    }

    void markChoice(const RecordedStep& choice) {
        const std::size_t condition = choice.arguments.front();
        const bool isMet = condition != RecordedStep::missing && holds(evaluation_.steps[condition].value);
        if (const std::size_t other = choice.arguments[isMet ? 2 : 1]; other != RecordedStep::missing) {
            evaluation_.steps[other].taken = false;
        }
    }

    RecordedEvaluation& evaluation_;
    std::vector<std::size_t> stack_;
    std::size_t order_ = 0;
    bool over_ = false; ///< a step has failed, and with it the evaluation
};

} // namespace

const KivxValue* RecordedStep::note(std::string_view what) const {
    const auto found = std::ranges::find(notes, what, [](const auto& each) { return each.first; });
    return found == notes.end() ? nullptr : &found->second;
}

EvaluationRecorder::EvaluationRecorder(const KivxOperatorTable& operators) : operators_(operators) {}
EvaluationRecorder::~EvaluationRecorder() = default;

void EvaluationRecorder::entered(std::string_view expression, std::string_view flagName) {
    running_.push_back({std::make_unique<RecordedEvaluation>(
                            RecordedEvaluation{std::string(expression), std::string(flagName)}),
                        {},
                        {}});
}

void EvaluationRecorder::applied(std::string_view, std::size_t, const std::vector<KivxValue>& arguments,
                                 const KivxValue& result) {
    Running& running = running_.back();
    running.current.arity = arguments.size();
    running.current.value = kept(result);
    running.calls.push_back(std::exchange(running.current, {}));
}

void EvaluationRecorder::failed(std::string_view name, std::size_t position, std::string_view reason) {
    running_.back().evaluation->failure = {std::string(name), position, std::string(reason)};
}

void EvaluationRecorder::noted(std::string_view what, const KivxValue& value) {
    running_.back().current.notes.emplace_back(what, kept(value));
}

void EvaluationRecorder::left(const KivxValue& result) {
    Running running = std::move(running_.back());
    running_.pop_back();
    running.evaluation->value = kept(result);
    running.evaluation->findings =
        ExpressionReader(running.evaluation->expression, {nullptr, useOfLast()}).read();
    steps_ += running.calls.size();
    running.evaluation->cut = steps_ > mostSteps;
    if (!running.evaluation->cut) {
        build(running);
    }
    if (running_.empty()) {
        outermost_ = std::move(running.evaluation);
    } else {
        running_.back().current.evaluations.push_back(std::move(running.evaluation));
    }
}

ExpressionUse EvaluationRecorder::useOfLast() const {
    const auto& notes = running_.empty() ? decltype(Call::notes)() : running_.back().current.notes;
    return notes.empty()                         ? ExpressionUse::alone
           : notes.back().first == "targetGroup" ? ExpressionUse::targetGroup
                                                 : ExpressionUse::flag;
}

void EvaluationRecorder::build(Running& running) const {
    RecordedEvaluation& evaluation = *running.evaluation;
    if (evaluation.failure && evaluation.failure->name.empty()) {
        return;
    }
    const KivxTokenizedExpression expression(evaluation.expression, operators_);
    const auto tokens = expression.tokens();
    Builder builder(evaluation);
    auto call = running.calls.begin();
    for (auto node = tokens.rbegin(); node != tokens.rend(); ++node) {
        if (node->type == KivxNodeTypeOperand) {
            builder.addLiteral(*node);
        } else if (node->type == KivxNodeTypeUnknown) {
            builder.addUnknownWord(expression.wordAt(node->position), node->position);
        } else {
            RecordedStep step{.name = node->op->name, .position = node->position};
            if (call != running.calls.end()) {
                step.value = std::move(call->value);
                step.notes = std::move(call->notes);
                step.evaluations = std::move(call->evaluations);
                builder.addCall(std::move(step), call++->arity);
                continue;
            }
            step.outcome = builder.nextOutcome();
            if (step.outcome == Outcome::failed) {
                step.notes = std::move(running.current.notes);
                step.evaluations = std::move(running.current.evaluations);
            }
            const OperatorSignature* signature = operatorSignature(step.name);
            builder.addCall(std::move(step), signature ? signature->arity() : 0);
        }
    }
    builder.finish();
}

} // namespace kiv::tool
