#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "KivxLanguage/KivxTrace.h"
#include "evaluate/EvaluationRecord.h"

namespace kiv::tool {

/// Notices what an evaluation asks for and why it fails. Takes little time; which of the things that were
/// asked for decided the value takes an `EvaluationRecorder`.
class OfrepTrace : public KivxTrace {
public:
    /// The note of an operator that found no targeting key.
    static constexpr std::string_view missingKey = "missing targeting key";

    void entered(std::string_view expression, std::string_view flagName) override;
    void applied(std::string_view name, std::size_t position, const std::vector<KivxValue>& arguments,
                 const KivxValue& result) override;
    void failed(std::string_view name, std::size_t position, std::string_view reason) override;
    void noted(std::string_view what, const KivxValue& value) override;
    void left(const KivxValue& result) override;

    /// Whether an operator asked for something that the expression does not hold: a property, a target group,
    /// a flag, a percentage or the time.
    bool asks() const { return asks_; }
    /// Whether a percentage was asked for, here or in an evaluation inside this one.
    bool hasPercentage() const { return hasPercentage_; }
    /// Whether an expression asked for the targeting key, which was noted as missing, and none tested for it
    /// with `isUndefined(property(…))`.
    bool lacksKey() const { return lacksKey_ && !testsKey_; }
    /// Why the outermost evaluation has failed; empty when it has not.
    const std::string& failure() const { return failure_; }

private:
    std::size_t depth_ = 0;
    bool asks_ = false;
    bool hasPercentage_ = false;
    bool lacksKey_ = false;
    bool testsKey_ = false;
    bool isKeyOnTop_ = false; ///< the value that was made last is the missing key
    std::string failure_;
};

/// Whether a percentage decided the value of an evaluation that did not fail. `ifThen` is decided by its
/// condition and the chosen branch, `and` and `or` by the sides that settled them.
bool isDecidedByPercentage(const RecordedEvaluation& evaluation);

} // namespace kiv::tool
