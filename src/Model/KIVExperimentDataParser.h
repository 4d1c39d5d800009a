#pragma once

#include <memory>
#include <vector>

#include "Model/KIVFeatureFlagId.h"
#include "Model/KIVTargetGroupModel.h"
#include "Platform/Text/Json.h"

/// Turns the arrays of a configuration payload into models.
///
/// Nothing in a payload is an error: a member of the wrong kind counts as absent; a null pointer and a value
/// that is not an array count as an empty array. The models copy what they need from the document. Has no
/// state; does not throw.
class KIVExperimentDataParser {
public:
    /// The experiments by flag. When several experiments name one flag, the last of them counts. Experiments
    /// without a condition are skipped. Never null.
    std::shared_ptr<const KIVExperiments>
    parseExperimentsWithConfiguration(const kiv::json::value* experiments) const;

    /// The target groups in the order of the document.
    std::vector<KIVTargetGroupModel>
    parseTargetGroupsWithConfiguration(const kiv::json::value* targetGroups) const;
};
