#include "Network/KIVEnvironment.h"

#include "KIVBuildConfig.h"
#include "Network/KIVEndpointFields.h"

KIVEnvironment::KIVEnvironment(const std::optional<KIVNetworkConfigurationsOptions>& networkConfigurations) {
    if (!networkConfigurations) {
        endpoints_ = legacyNetworkConfigurations();
        return;
    }
    for (const auto& [name, url] : KIVEndpointFields) {
        endpoints_.*url = chopSlashSuffix((*networkConfigurations).*url);
    }
}

std::optional<std::string> KIVEnvironment::chopSlashSuffix(std::optional<std::string> text) {
    if (text && text->ends_with('/')) {
        text->pop_back();
    }
    return text;
}

KIVNetworkConfigurationsOptions& KIVEnvironment::legacyNetworkConfigurations() {
    static auto& endpoints = *new KIVNetworkConfigurationsOptions{
        .getConfigApiEndpoint = kiv::build::legacyApiGetConfigURL,
        .getConfigCloudEndpoint = kiv::build::legacyCdnGetConfigURL,
        .sendStateApiEndpoint = kiv::build::legacyApiSendStateURL,
        .sendStateCloudEndpoint = kiv::build::legacyCdnSendStateURL,
        .analyticsEndpoint = kiv::build::legacyAnalyticsURL,
        .pushNotificationEndpoint = kiv::build::legacyPushURL,
    };
    return endpoints;
}

KIVNetworkConfigurationsOptions& KIVEnvironment::platformNetworkConfigurations() {
    static auto& endpoints = *new KIVNetworkConfigurationsOptions{
        .getConfigApiEndpoint = kiv::build::platformApiGetConfigURL,
        .getConfigCloudEndpoint = kiv::build::platformCdnGetConfigURL,
        .sendStateApiEndpoint = kiv::build::platformApiSendStateURL,
        .sendStateCloudEndpoint = kiv::build::platformCdnSendStateURL,
        .analyticsEndpoint = kiv::build::platformAnalyticsURL,
        .pushNotificationEndpoint = kiv::build::platformPushURL,
    };
    return endpoints;
}
