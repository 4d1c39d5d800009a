#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Text/Json.h"
#include "evaluate/EvaluationRecord.h"
#include "evaluate/EvaluationWorld.h"

namespace kiv::tool {

/// A flag of a document whose value is explained.
struct ExplainedFlag {
    std::string name;
    std::string document;               ///< path of the document's file
    std::size_t experiment;             ///< number of the experiment that decides, from 1
    std::vector<std::size_t> overruled; ///< numbers of the other experiments that name the flag
    const KIVExperimentModel& model;
};

/// A value and how it came about. Borrows everything.
struct Explanation {
    const EvaluationWorld& world;
    const RecordedEvaluation& evaluation;
    /// What `EvaluationWorld::evaluate` returned.
    const std::optional<KivxEvaluationResult>& result;
    const std::optional<ExplainedFlag>& flag;

    bool failed() const { return result && result->value().isNone(); }
};

/// Prints the explanation for a person.
void printExplanation(const Explanation& explanation);

json::object explanationJson(const Explanation& explanation);

} // namespace kiv::tool
