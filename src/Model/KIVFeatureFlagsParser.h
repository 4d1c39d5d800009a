#pragma once

#include <vector>

#include "Model/KIVFeatureFlagId.h"

/// Reads the flags that an experiment of a configuration document names.
class KIVFeatureFlagsParser {
public:
    /// One identifier for each object of the array, in its order. Anything else has none.
    static std::vector<KIVFeatureFlagId> parseWithConfiguration(const kiv::json::value& configuration) {
        std::vector<KIVFeatureFlagId> flags;
        if (const auto* objects = configuration.if_array()) {
            for (const kiv::json::value& object : *objects) {
                flags.push_back(KIVFeatureFlagId::initWithConfiguration(object));
            }
        }
        return flags;
    }
};
