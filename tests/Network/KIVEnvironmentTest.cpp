#include <gtest/gtest.h>

#include <kiv/KIVEndpoints.h>

#include "Network/KIVEnvironment.h"

namespace {

TEST(Environment, TakesTheDeploymentsEndpointsWithoutTheirSlash) {
    const KIVEnvironment environment(KIVNetworkConfigurationsOptions{
        .getConfigApiEndpoint = "https://a/device/",
        .getConfigCloudEndpoint = "https://b//",
        .sendStateApiEndpoint = "/",
        .analyticsEndpoint = "",
        .pushNotificationEndpoint = "https://f/sse",
    });
    EXPECT_EQ(environment.getConfigApiUrl(), "https://a/device");
    EXPECT_EQ(environment.getConfigCdnUrl(), "https://b/") << "one slash only";
    EXPECT_EQ(environment.sendStateApiUrl(), "");
    EXPECT_EQ(environment.sendStateCdnUrl(), std::nullopt);
    EXPECT_EQ(environment.analyticsUrl(), "");
    EXPECT_EQ(environment.pushNotificationsUrl(), "https://f/sse");
}

TEST(Environment, HasBuiltInEndpointsThatCanBeWritten) {
    std::string* const strings[] = {&KIVC_apiGetConfigURL(), &KIVC_cdnGetConfigURL(), &KIVC_apiSendStateURL(),
                                    &KIVC_cdnSendStateURL(), &KIVC_analyticBaseURL(), &KIVC_pushBaseURL(),
                                    &VPL_apiGetConfigURL(),  &VPL_cdnGetConfigURL(),  &VPL_apiSendStateURL(),
                                    &VPL_cdnSendStateURL(),  &VPL_analyticBaseURL(),  &VPL_pushBaseURL()};
    int number = 0;
    for (std::string* each : strings) {
        EXPECT_TRUE(each->starts_with("https://") && !each->ends_with('/')) << *each;
        *each = std::to_string(number++) + "/";
    }
    const KIVEnvironment legacy(std::nullopt);
    const KIVEnvironment platform(KIVEnvironment::platformNetworkConfigurations());
    const std::optional<std::string> got[] = {
        legacy.getConfigApiUrl(),   legacy.getConfigCdnUrl(),   legacy.sendStateApiUrl(),
        legacy.sendStateCdnUrl(),   legacy.analyticsUrl(),      legacy.pushNotificationsUrl(),
        platform.getConfigApiUrl(), platform.getConfigCdnUrl(), platform.sendStateApiUrl(),
        platform.sendStateCdnUrl(), platform.analyticsUrl(),    platform.pushNotificationsUrl()};
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(got[i], std::to_string(i) + (i < 6 ? "/" : "")) << "the built-in set is taken as it stands";
    }
}

} // namespace
