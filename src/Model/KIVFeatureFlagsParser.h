#pragma once

#include <vector>

#include "Model/KIVFeatureFlagId.h"

/// Reads the flags that an experiment of a configuration document names.
class KIVFeatureFlagsParser {
public:
    /// One identifier for each element of the array, in its order; its name is empty when the element has
    /// none. Nothing for a value that is not an array.
    static std::vector<KIVFeatureFlagId> parseWithConfiguration(const kiv::json::value& configuration) {
        std::vector<KIVFeatureFlagId> flags;
        if (const auto* objects = configuration.if_array()) {
            flags.reserve(objects->size());
            for (const kiv::json::value& object : *objects) {
                flags.push_back(KIVFeatureFlagId::initWithConfiguration(object));
            }
        }
        return flags;
    }
};
