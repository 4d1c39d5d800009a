#include "Model/KIVTargetGroupRepository.h"

#include <memory>
#include <utility>

KIVTargetGroupRepository::Groups::Groups(std::vector<KIVTargetGroupModel> models)
    : inOrder(std::move(models)) {
    byIdentifier.reserve(inOrder.size());
    for (const KIVTargetGroupModel& group : inOrder) {
        if (group.groupId()) {
            byIdentifier.emplace(*group.groupId(), &group);
        }
    }
}

KIVTargetGroupRepository::KIVTargetGroupRepository()
    : groups_(std::make_unique<const Groups>(std::vector<KIVTargetGroupModel>())) {}

void KIVTargetGroupRepository::setTargetGroups(std::vector<KIVTargetGroupModel> targetGroups) {
    groups_.publish(std::make_unique<const Groups>(std::move(targetGroups)));
}

std::vector<KIVTargetGroupModel> KIVTargetGroupRepository::targetGroups() const {
    const kiv::ReadGuard guard;
    return groups_.load()->inOrder;
}

const KIVTargetGroupModel*
KIVTargetGroupRepository::targetGroupWithIdentifier(std::string_view identifier) const {
    const Groups& groups = *groups_.load();
    const auto found = groups.byIdentifier.find(identifier);
    return found == groups.byIdentifier.end() ? nullptr : found->second;
}
