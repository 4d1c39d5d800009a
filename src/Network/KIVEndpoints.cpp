#include <kiv/KIVEndpoints.h>

#include "KIVBuildConfig.h"

namespace {

/// Twelve strings that are made at the first call and never destroyed, so that no order of static objects
/// matters.
struct Endpoints {
    std::string cdnGetConfig;
    std::string apiGetConfig;
    std::string cdnSendState;
    std::string apiSendState;
    std::string analytics;
    std::string push;
};

Endpoints& legacy() {
    static Endpoints& endpoints =
        *new Endpoints{kiv::build::legacyCdnGetConfigURL, kiv::build::legacyApiGetConfigURL,
                       kiv::build::legacyCdnSendStateURL, kiv::build::legacyApiSendStateURL,
                       kiv::build::legacyAnalyticsURL,    kiv::build::legacyPushURL};
    return endpoints;
}

Endpoints& platform() {
    static Endpoints& endpoints =
        *new Endpoints{kiv::build::platformCdnGetConfigURL, kiv::build::platformApiGetConfigURL,
                       kiv::build::platformCdnSendStateURL, kiv::build::platformApiSendStateURL,
                       kiv::build::platformAnalyticsURL,    kiv::build::platformPushURL};
    return endpoints;
}

} // namespace

std::string& KIVC_cdnGetConfigURL() { return legacy().cdnGetConfig; }
std::string& KIVC_apiGetConfigURL() { return legacy().apiGetConfig; }
std::string& KIVC_cdnSendStateURL() { return legacy().cdnSendState; }
std::string& KIVC_apiSendStateURL() { return legacy().apiSendState; }
std::string& KIVC_analyticBaseURL() { return legacy().analytics; }
std::string& KIVC_pushBaseURL() { return legacy().push; }

std::string& VPL_cdnGetConfigURL() { return platform().cdnGetConfig; }
std::string& VPL_apiGetConfigURL() { return platform().apiGetConfig; }
std::string& VPL_cdnSendStateURL() { return platform().cdnSendState; }
std::string& VPL_apiSendStateURL() { return platform().apiSendState; }
std::string& VPL_analyticBaseURL() { return platform().analytics; }
std::string& VPL_pushBaseURL() { return platform().push; }
