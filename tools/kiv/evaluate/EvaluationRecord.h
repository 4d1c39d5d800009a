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
#include "expression/ExpressionReader.h"

namespace kiv::tool {

struct RecordedEvaluation;

/// A word of an expression: a literal, an operator with what it did, or an unknown word.
struct RecordedStep {
    enum class Kind { literal, call, unknownWord };
    enum class Outcome { value, failed, notReached };

    /// Texts are cut after this many bytes, or a few before.
    static constexpr std::size_t longestText = 4096;

    /// Stands for an argument that the expression does not have.
    static constexpr std::size_t missing = std::numeric_limits<std::size_t>::max();

    Kind kind = Kind::literal;
    Outcome outcome = Outcome::value;
    std::string name = {};    ///< of the operator, or the unknown word
    std::size_t position = 0; ///< in the expression, in bytes
    std::size_t order = 0;    ///< 1 for the operator that ran first; 0 for steps that did not run
    std::vector<std::size_t> arguments = {}; ///< steps of the same evaluation, or `missing`
    KivxValue value = {};                    ///< a long text is cut
    bool taken = true; ///< false for the branch that `ifThen` evaluated but did not choose
    std::vector<std::pair<std::string, KivxValue>> notes = {};
    /// Evaluations inside the operator: of a target group's condition, or of another flag.
    std::vector<std::unique_ptr<RecordedEvaluation>> evaluations = {};

    bool isCallOf(std::string_view op) const { return kind == Kind::call && name == op; }

    /// A detail that the operator noted, for example "bucket"; null when it noted none of that name.
    const KivxValue* note(std::string_view what) const;
};

/// A finished evaluation.
struct RecordedEvaluation {
    struct Failure {
        std::string name;     ///< of the operator or unknown word; empty when no step was reached
        std::size_t position; ///< in the expression, in bytes
        std::string reason;
    };

    std::string expression;
    std::string flagName;
    KivxValue value = {}; ///< `none` when it failed or gave no value
    std::optional<Failure> failure = {};
    std::vector<RecordedStep> steps = {};
    /// The steps that are no argument of another step, from left to right. The first step gives the value.
    std::vector<std::size_t> roots = {};
    std::vector<ExpressionFinding> findings = {}; ///< what `ExpressionReader` finds in the expression
    bool cut = false; ///< the steps were dropped, because all evaluations together had too many

    const RecordedStep* root() const { return roots.empty() ? nullptr : &steps[roots.front()]; }
};

/// Records the steps of the evaluations that it watches.
class EvaluationRecorder : public KivxTrace {
public:
    /// Once more operators than this have run, evaluations are recorded without their steps.
    static constexpr std::size_t mostSteps = 100'000;

    /// `operators` are those of the watched parser; they are borrowed.
    explicit EvaluationRecorder(const KivxOperatorTable& operators);
    ~EvaluationRecorder() override;

    void entered(std::string_view expression, std::string_view flagName) override;
    void applied(std::string_view name, std::size_t position, const std::vector<KivxValue>& arguments,
                 const KivxValue& result) override;
    void failed(std::string_view name, std::size_t position, std::string_view reason) override;
    void noted(std::string_view what, const KivxValue& value) override;
    void left(const KivxValue& result) override;

    /// The last outermost evaluation. Call it after an evaluation has ended.
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

    /// What the evaluation that has just left is for.
    ExpressionUse useOfLast() const;
    void build(Running& running) const;

    const KivxOperatorTable& operators_;
    std::vector<Running> running_;
    std::unique_ptr<RecordedEvaluation> outermost_;
    std::size_t steps_ = 0;
};

} // namespace kiv::tool
