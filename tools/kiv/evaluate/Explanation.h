#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Text/Json.h"
#include "evaluate/EvaluationRecord.h"
#include "evaluate/EvaluationWorld.h"

namespace kiv::tool {

/// The flag of a document that a value is explained for.
struct ExplainedFlag {
    std::string name;
    std::string document;               ///< its file
    std::size_t experiment;             ///< the one that decides, from 1
    std::vector<std::size_t> overruled; ///< others that name the flag
    const KIVExperimentModel& model;
};

/// A value and how it came about. Borrows everything.
struct Explanation {
    const EvaluationWorld& world;
    const RecordedEvaluation& evaluation;
    /// As the evaluation answered.
    const std::optional<KivxEvaluationResult>& result;
    const std::optional<ExplainedFlag>& flag;

    bool failed() const { return result && result->value().isNone(); }
};

/// Prints the explanation for a person.
void printExplanation(const Explanation& explanation);

json::object explanationJson(const Explanation& explanation);

} // namespace kiv::tool
