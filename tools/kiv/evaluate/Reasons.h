#pragma once

#include <string>
#include <vector>

#include "evaluate/EvaluationRecord.h"
#include "evaluate/EvaluationWorld.h"

namespace kiv::tool {

/// A fact that decided a value.
struct Reason {
    std::size_t depth; ///< of the evaluation in which the fact counted; 0 for the outermost
    std::string text;
};

/// The first facts and the last ones, at most `keptAtEachEnd` of each.
struct Reasons {
    static constexpr std::size_t keptAtEachEnd = 6;

    std::vector<Reason> facts;
    std::size_t skipped = 0; ///< facts between the first and the last that were left out
};

/// The facts that explain the value of an evaluation that did not fail. For `ifThen` they are those of its
/// condition and of the chosen branch, for `and` and `or` those of the sides that decided. For a target group
/// or a flag, the facts of its condition follow.
Reasons reasonsFor(const RecordedEvaluation& evaluation, const EvaluationWorld& world);

} // namespace kiv::tool
