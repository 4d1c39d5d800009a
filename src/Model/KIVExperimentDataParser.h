#pragma once

#include <memory>
#include <vector>

#include "Model/KIVFeatureFlagId.h"
#include "Model/KIVTargetGroupModel.h"
#include "Platform/Text/Json.h"

/// Makes models of the arrays of a configuration payload.
///
/// Nothing in a payload is an error: a member of the wrong kind counts as absent, and a null array (or a
/// value that is no array) is empty. The models keep nothing of the document. Has no state; does not throw.
class KIVExperimentDataParser {
public:
    /// The experiments by the flags they name; of several that name one flag the last. Those without a
    /// condition are skipped. Never null.
    std::shared_ptr<const KIVExperiments>
    parseExperimentsWithConfiguration(const kiv::json::value* experiments) const;

    /// In the order of the document.
    std::vector<KIVTargetGroupModel>
    parseTargetGroupsWithConfiguration(const kiv::json::value* targetGroups) const;
};
