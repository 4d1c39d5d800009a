#include <kiv/KIVEndpoints.h>

#include "Network/KIVEnvironment.h"

namespace {

KIVNetworkConfigurationsOptions& legacy() { return KIVEnvironment::legacyNetworkConfigurations(); }
KIVNetworkConfigurationsOptions& platform() { return KIVEnvironment::platformNetworkConfigurations(); }

} // namespace

std::string& KIVC_cdnGetConfigURL() { return *legacy().getConfigCloudEndpoint; }
std::string& KIVC_apiGetConfigURL() { return *legacy().getConfigApiEndpoint; }
std::string& KIVC_cdnSendStateURL() { return *legacy().sendStateCloudEndpoint; }
std::string& KIVC_apiSendStateURL() { return *legacy().sendStateApiEndpoint; }
std::string& KIVC_analyticBaseURL() { return *legacy().analyticsEndpoint; }
std::string& KIVC_pushBaseURL() { return *legacy().pushNotificationEndpoint; }

std::string& VPL_cdnGetConfigURL() { return *platform().getConfigCloudEndpoint; }
std::string& VPL_apiGetConfigURL() { return *platform().getConfigApiEndpoint; }
std::string& VPL_cdnSendStateURL() { return *platform().sendStateCloudEndpoint; }
std::string& VPL_apiSendStateURL() { return *platform().sendStateApiEndpoint; }
std::string& VPL_analyticBaseURL() { return *platform().analyticsEndpoint; }
std::string& VPL_pushBaseURL() { return *platform().pushNotificationEndpoint; }
