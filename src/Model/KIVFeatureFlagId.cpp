#include "Model/KIVFeatureFlagId.h"

#include "Model/KIVJSONKeys.h"

KIVFeatureFlagId KIVFeatureFlagId::initWithConfiguration(const kiv::json::value& configuration) {
    const auto* name = kiv::textMember(configuration, KIVC_featureFlag_name);
    return {name ? std::string(*name) : std::string()};
}
