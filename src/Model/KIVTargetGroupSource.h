#pragma once

#include <memory>

#include "KivxLanguage/KivxExperimentSources.h"

class KIVTargetGroupLinkArchiver;
class KIVTargetGroupRepository;

/// Gives expressions the target groups of the applied configuration and the links of this device. Callable
/// from any thread.
class KIVTargetGroupSource : public KivxTargetGroupSource {
public:
    KIVTargetGroupSource(std::shared_ptr<const KIVTargetGroupRepository> targetGroupRepository,
                         std::shared_ptr<const KIVTargetGroupLinkArchiver> targetGroupLinkArchiver);

    bool isInTargetGroup(std::string_view identifier, const KivxParser& parser,
                         std::string_view flagName) const override;
    bool isTargetGroupPaired(std::string_view identifier) const override;

private:
    const std::shared_ptr<const KIVTargetGroupRepository> targetGroupRepository_;
    const std::shared_ptr<const KIVTargetGroupLinkArchiver> targetGroupLinkArchiver_;
};
