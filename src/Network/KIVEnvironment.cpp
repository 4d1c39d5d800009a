#include "Network/KIVEnvironment.h"

#include <kiv/KIVEndpoints.h>

namespace {

KIVNetworkConfigurationsOptions legacyNetworkConfigurations() {
    return {
        .getConfigApiEndpoint = KIVC_apiGetConfigURL(),
        .getConfigCloudEndpoint = KIVC_cdnGetConfigURL(),
        .sendStateApiEndpoint = KIVC_apiSendStateURL(),
        .sendStateCloudEndpoint = KIVC_cdnSendStateURL(),
        .analyticsEndpoint = KIVC_analyticBaseURL(),
        .pushNotificationEndpoint = KIVC_pushBaseURL(),
    };
}

} // namespace

KIVEnvironment::KIVEnvironment(const std::optional<KIVNetworkConfigurationsOptions>& networkConfigurations) {
    if (!networkConfigurations) {
        endpoints_ = legacyNetworkConfigurations();
        return;
    }
    endpoints_ = {
        .getConfigApiEndpoint = chopSlashSuffix(networkConfigurations->getConfigApiEndpoint),
        .getConfigCloudEndpoint = chopSlashSuffix(networkConfigurations->getConfigCloudEndpoint),
        .sendStateApiEndpoint = chopSlashSuffix(networkConfigurations->sendStateApiEndpoint),
        .sendStateCloudEndpoint = chopSlashSuffix(networkConfigurations->sendStateCloudEndpoint),
        .analyticsEndpoint = chopSlashSuffix(networkConfigurations->analyticsEndpoint),
        .pushNotificationEndpoint = chopSlashSuffix(networkConfigurations->pushNotificationEndpoint),
    };
}

std::optional<std::string> KIVEnvironment::chopSlashSuffix(std::optional<std::string> text) {
    if (text && text->ends_with('/')) {
        text->pop_back();
    }
    return text;
}

KIVNetworkConfigurationsOptions KIVEnvironment::platformNetworkConfigurations() {
    return {
        .getConfigApiEndpoint = VPL_apiGetConfigURL(),
        .getConfigCloudEndpoint = VPL_cdnGetConfigURL(),
        .sendStateApiEndpoint = VPL_apiSendStateURL(),
        .sendStateCloudEndpoint = VPL_cdnSendStateURL(),
        .analyticsEndpoint = VPL_analyticBaseURL(),
        .pushNotificationEndpoint = VPL_pushBaseURL(),
    };
}
