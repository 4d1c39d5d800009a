#include "Model/KIVTargetGroupSource.h"

#include <utility>

#include "Model/KIVTargetGroupLinkArchiver.h"
#include "Model/KIVTargetGroupRepository.h"
#include "Platform/Snapshots/Epoch.h"

KIVTargetGroupSource::KIVTargetGroupSource(
    std::shared_ptr<const KIVTargetGroupRepository> targetGroupRepository,
    std::shared_ptr<const KIVTargetGroupLinkArchiver> targetGroupLinkArchiver)
    : targetGroupRepository_(std::move(targetGroupRepository)),
      targetGroupLinkArchiver_(std::move(targetGroupLinkArchiver)) {}

bool KIVTargetGroupSource::isInTargetGroup(std::string_view identifier, const KivxParser& parser,
                                           std::string_view flagName) const {
    const kiv::ReadGuard guard;
    const KIVTargetGroupModel* group = targetGroupRepository_->targetGroupWithIdentifier(identifier);
    return group && group->isApplicableWithParser(parser, flagName);
}

bool KIVTargetGroupSource::isTargetGroupPaired(std::string_view identifier) const {
    return targetGroupLinkArchiver_->isTargetGroupLinkPairedWith(identifier);
}
