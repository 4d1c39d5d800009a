#pragma once

#include <string_view>
#include <unordered_map>
#include <vector>

#include "Model/KIVTargetGroupModel.h"
#include "Platform/Snapshots/Epoch.h"

/// The target groups of the configuration that is applied. Callable from any thread: evaluations read it
/// without a lock while a new configuration replaces the groups.
class KIVTargetGroupRepository {
public:
    KIVTargetGroupRepository();

    /// Replaces all groups.
    void setTargetGroups(std::vector<KIVTargetGroupModel> targetGroups);

    /// A copy, in the order of the document.
    std::vector<KIVTargetGroupModel> targetGroups() const;

    /// The group of exactly that identifier, the first when there are several; null when there is none. The
    /// caller holds a `kiv::ReadGuard`: the group is valid until the guard closes.
    const KIVTargetGroupModel* targetGroupWithIdentifier(std::string_view identifier) const;

private:
    struct Groups {
        explicit Groups(std::vector<KIVTargetGroupModel> models);

        const std::vector<KIVTargetGroupModel> inOrder;
        std::unordered_map<std::string_view, const KIVTargetGroupModel*> byIdentifier;
    };

    kiv::Published<Groups> groups_;
};
