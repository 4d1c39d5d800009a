#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Model/KIVJSONKeys.h"
#include "Platform/Text/Json.h"

/// The key under which experiments are looked up. Identifiers with the same name are equal, whatever their
/// values.
struct KIVFeatureFlagId {
    std::string name;
    std::string value = {};

    /// Reads the name of a flag object of a configuration document; empty when it has none.
    static KIVFeatureFlagId initWithConfiguration(const kiv::json::value& configuration) {
        const auto* name = kiv::textMember(configuration, KIVC_featureFlag_name);
        return {name ? std::string(*name) : std::string()};
    }

    bool operator==(const KIVFeatureFlagId& other) const { return name == other.name; }
};

// These two let a table with identifiers as keys be searched by name.

struct KIVFeatureFlagIdHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const { return std::hash<std::string_view>()(name); }
    std::size_t operator()(const KIVFeatureFlagId& id) const { return (*this)(std::string_view(id.name)); }
};
struct KIVFeatureFlagIdEqual {
    using is_transparent = void;
    bool operator()(const KIVFeatureFlagId& a, const KIVFeatureFlagId& b) const { return a == b; }
    bool operator()(const KIVFeatureFlagId& a, std::string_view b) const { return a.name == b; }
    bool operator()(std::string_view a, const KIVFeatureFlagId& b) const { return a == b.name; }
};

class KIVExperimentModel;

/// The experiments of one configuration document by flag. Shared, and therefore not changed any more.
using KIVExperiments = std::unordered_map<KIVFeatureFlagId, std::shared_ptr<const KIVExperimentModel>,
                                          KIVFeatureFlagIdHash, KIVFeatureFlagIdEqual>;
