#include "Model/KIVFeatureFlagsParser.h"

std::vector<KIVFeatureFlagId>
KIVFeatureFlagsParser::parseWithConfiguration(const kiv::json::value& configuration) {
    std::vector<KIVFeatureFlagId> flags;
    if (const auto* objects = configuration.if_array()) {
        for (const kiv::json::value& object : *objects) {
            flags.push_back(KIVFeatureFlagId::initWithConfiguration(object));
        }
    }
    return flags;
}
