#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KivxLanguage/KivxOperatorTable.h"
#include "KivxLanguage/KivxTrace.h"

namespace kiv::tool {

struct RecordedEvaluation;

/// A word of an expression: a literal, or an operator with what it did.
struct RecordedStep {
    enum class Kind { literal, call, unknownWord };
    enum class Outcome { value, failed, notReached };

    static constexpr std::size_t missing = std::numeric_limits<std::size_t>::max();

    Kind kind = Kind::literal;
    Outcome outcome = Outcome::value;
    std::string name = {};                   ///< of the operator, or the unknown word
    std::size_t position = 0;                ///< in the expression, in bytes
    std::size_t order = 0;                   ///< of operators that were run, from 1
    std::vector<std::size_t> arguments = {}; ///< steps of the same evaluation, or `missing`
    KivxValue value = {};                    ///< a long text is cut
    bool taken = true; ///< false for what a choice was made against, though it was evaluated
    std::vector<std::pair<std::string, KivxValue>> notes = {};
    std::vector<std::unique_ptr<RecordedEvaluation>> evaluations = {}; ///< made inside the operator

    bool isCallOf(std::string_view op) const { return kind == Kind::call && name == op; }

    /// A detail that the operator told of; null when it did not.
    const KivxValue* note(std::string_view what) const;
};

/// An evaluation that is over.
struct RecordedEvaluation {
    struct Failure {
        std::string name; ///< of the operator or word, empty when no step was reached
        std::size_t position;
        std::string reason;
    };

    std::string expression;
    std::string flagName;
    KivxValue value = {}; ///< `none` when it failed or left nothing
    std::optional<Failure> failure = {};
    std::vector<RecordedStep> steps = {};
    /// The steps that are nobody's argument, from left to right: the first is the value.
    std::vector<std::size_t> roots = {};
    bool cut = false; ///< there were too many steps to keep these

    const RecordedStep* root() const { return roots.empty() ? nullptr : &steps[roots.front()]; }
};

/// Keeps all steps of the evaluations that it watches.
class EvaluationRecorder : public KivxTrace {
public:
    static constexpr std::size_t mostSteps = 100'000;

    /// The operators of the parser that is watched, which it borrows.
    explicit EvaluationRecorder(const KivxOperatorTable& operators);
    ~EvaluationRecorder() override;

    void entered(std::string_view expression, std::string_view flagName) override;
    void applied(std::string_view name, std::size_t position, const std::vector<KivxValue>& arguments,
                 const KivxValue& result) override;
    void failed(std::string_view name, std::size_t position, std::string_view reason) override;
    void noted(std::string_view what, const KivxValue& value) override;
    void left(const KivxValue& result) override;

    /// The outermost evaluation. Call it after one is over.
    const RecordedEvaluation& evaluation() const { return *outermost_; }

private:
    /// What an operator did, without its arguments.
    struct Call {
        std::size_t arity = 0;
        KivxValue value = {};
        std::vector<std::pair<std::string, KivxValue>> notes = {};
        std::vector<std::unique_ptr<RecordedEvaluation>> evaluations = {};
    };
    struct Running {
        std::unique_ptr<RecordedEvaluation> evaluation;
        std::vector<Call> calls;
        Call current;
    };

    void build(Running& running) const;

    const KivxOperatorTable& operators_;
    std::vector<Running> running_;
    std::unique_ptr<RecordedEvaluation> outermost_;
    std::size_t steps_ = 0;
};

} // namespace kiv::tool
