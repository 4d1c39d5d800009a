#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kiv/EvaluationContext.h>
#include <kiv/KIVHost.h>

#include "KivxLanguage/KivxCustomPropertiesExtensions.h"
#include "KivxLanguage/KivxExperimentsExtensions.h"
#include "KivxLanguage/KivxParser.h"
#include "Model/KIVExperimentModel.h"
#include "Model/KIVFeatureFlagId.h"
#include "Model/KIVTargetGroupLinkArchiver.h"
#include "Model/KIVTargetGroupRepository.h"
#include "Model/KIVTargetGroupSource.h"
#include "Properties/KIVCustomPropertiesRepository.h"

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Makes the target keep no files. Returns true.
inline bool useNoFolder() {
    KIVHost host;
    host.libraryDirectory = "/nonexistent";
    KIVHost::configure(std::move(host));
    return true;
}

/// A parser with every operator, a property of each type, and the target groups and experiments of one
/// document.
class FuzzWorld {
public:
    FuzzWorld() : FuzzWorld({}, std::make_shared<const KIVExperiments>()) {}

    FuzzWorld(std::vector<KIVTargetGroupModel> groups, std::shared_ptr<const KIVExperiments> experiments) {
        const auto properties = std::make_shared<KIVCustomPropertiesRepository>();
        properties->addCustomProperty(KIVCustomProperty::withStringValue("country", "FR"));
        properties->addCustomProperty(KIVCustomProperty::withSemverValue("version", "2.10.0"));
        properties->addCustomProperty(KIVCustomProperty::withBoolValue("paying", true));
        properties->addCustomProperty(KIVCustomProperty::withIntValue("orders", 12));
        properties->addCustomProperty(KIVCustomProperty::withDoubleValue("total", 99.5));
        properties->addCustomProperty(KIVCustomProperty::withDateTimeValue("since", KIVDate()));
        const auto repository = std::make_shared<KIVTargetGroupRepository>();
        repository->setTargetGroups(std::move(groups));
        KivxCustomPropertiesExtensions(parser_, properties).extend();
        KivxExperimentsExtensions(parser_,
                                  std::make_shared<KIVTargetGroupSource>(
                                      repository, std::make_shared<KIVTargetGroupLinkArchiver>()),
                                  std::make_shared<Flags>(parser_, std::move(experiments)))
            .extend();
    }

    const KivxParser& parser() const { return parser_; }

private:
    /// Gives `flagValue` the values of the experiments, without flags.
    class Flags : public KivxFlagValueSource {
    public:
        Flags(const KivxParser& parser, std::shared_ptr<const KIVExperiments> experiments)
            : parser_(parser), experiments_(std::move(experiments)) {}

        std::optional<std::string> valueOfFlag(std::string_view name,
                                               const EvaluationContext& context) const override {
            const auto found = experiments_->find(name);
            return found == experiments_->end() ? std::nullopt
                                                : found->second->valueWithParser(parser_, name, context);
        }

    private:
        const KivxParser& parser_;
        const std::shared_ptr<const KIVExperiments> experiments_;
    };

    KivxParser parser_;
};
