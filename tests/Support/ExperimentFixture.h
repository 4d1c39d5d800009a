#pragma once

#include "Flags/KIVFlagValueSource.h"
#include "KivxLanguage/KivxExperimentsExtensions.h"
#include "Model/KIVTargetGroupLinkArchiver.h"
#include "Model/KIVTargetGroupRepository.h"
#include "Model/KIVTargetGroupSource.h"
#include "Support/FlagFixture.h"

/// Adds the operators of experiments to the parser as a client does, over real flags and target groups.
class ExperimentFixture : public FlagFixture {
protected:
    ExperimentFixture() {
        KivxExperimentsExtensions(*parser, std::make_shared<KIVTargetGroupSource>(groups, links), flagValues)
            .extend();
    }

    void startWithSetter(std::function<void(const KIVReportingValue&)> handler = {}) {
        start(std::move(handler));
        flagValues->setFeatureFlagsSetter(setter);
    }

    std::shared_ptr<KIVTargetGroupRepository> groups = std::make_shared<KIVTargetGroupRepository>();
    std::shared_ptr<KIVTargetGroupLinkArchiver> links = std::make_shared<KIVTargetGroupLinkArchiver>();
    std::shared_ptr<KIVFlagValueSource> flagValues = std::make_shared<KIVFlagValueSource>(flags);
};
