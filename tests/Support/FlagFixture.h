#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kiv/KIVDouble.h>
#include <kiv/KIVFlag.h>
#include <kiv/KIVFlagsOverrides.h>
#include <kiv/KIVInt.h>

#include "Flags/KIVFeatureFlagsSetter.h"
#include "KivxLanguage/KivxParser.h"
#include "Runtime/KIVUserspaceUnhandledErrorInvoker.h"

/// Flags, properties and a parser with a setter over them, and no client.
class FlagFixture : public ::testing::Test {
protected:
    /// Makes the setter. A second call makes a new one, as the application's next start does.
    void start(std::function<void(const KIVReportingValue&)> handler = {}) {
        setter = KIVFeatureFlagsSetter::create({
            .distinctId = [] { return std::string("device-id"); },
            .parser = parser,
            .featureFlagStickiness = nullptr,
            .impressionHandler = std::move(handler),
            .propertiesRepository = properties,
            .flagsRepository = flags,
            .errorInvoker = invoker,
            .analytics = events,
        });
    }

    static std::shared_ptr<const KIVExperimentModel> experiment(const std::string& condition) {
        return std::make_shared<KIVExperimentModel>("id", "name", false,
                                                    KIVDeploymentConfiguration(condition), false,
                                                    std::set<std::string>(), "userId");
    }

    /// Applies experiments, given as pairs of a flag's name and a condition.
    void apply(const std::vector<std::pair<std::string, std::string>>& conditions) {
        auto experiments = std::make_shared<KIVExperiments>();
        for (const auto& [flag, condition] : conditions) {
            (*experiments)[KIVFeatureFlagId{flag}] = experiment(condition);
        }
        setter->setForExperiments(experiments);
    }

    /// Registers a new flag under the name.
    template <class Flag, class... Arguments>
    std::shared_ptr<Flag> add(const std::string& name, Arguments&&... arguments) {
        auto flag = std::make_shared<Flag>(std::forward<Arguments>(arguments)...);
        flags->addFeature(flag, name);
        return flag;
    }

    std::shared_ptr<KivxParser> parser = std::make_shared<KivxParser>();
    std::shared_ptr<KIVFeatureFlagsRepository> flags = std::make_shared<KIVFeatureFlagsRepository>();
    std::shared_ptr<KIVCustomPropertiesRepository> properties =
        std::make_shared<KIVCustomPropertiesRepository>();
    std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> invoker =
        std::make_shared<KIVUserspaceUnhandledErrorInvoker>();
    std::shared_ptr<KIVImpressionEvents> events;
    std::shared_ptr<KIVFeatureFlagsSetter> setter;
};
