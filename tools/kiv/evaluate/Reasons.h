#pragma once

#include <string>
#include <vector>

#include "evaluate/EvaluationRecord.h"
#include "evaluate/EvaluationWorld.h"

namespace kiv::tool {

/// A fact that decided about a value.
struct Reason {
    std::size_t depth; ///< that of the evaluation in which it counted; 0 is the outermost
    std::string text;
};

struct Reasons {
    /// So many of the first facts and of the last are kept.
    static constexpr std::size_t mostOfEnd = 6;

    std::vector<Reason> facts;
    std::size_t skipped = 0; ///< those between
};

/// Why an evaluation that did not fail has its value, in a few facts: of a choice the condition that was met
/// or not, of `and` and `or` the sides that settled it, of groups and flags what settled those.
Reasons reasonsFor(const RecordedEvaluation& evaluation, const EvaluationWorld& world);

} // namespace kiv::tool
