#pragma once

#include <optional>
#include <string>

/// The URLs of the six endpoints of a self-managed deployment. Requests to a missing endpoint are not made.
/// One slash at the end of a URL is ignored.
struct KIVNetworkConfigurationsOptions {
    std::optional<std::string> getConfigApiEndpoint = {};     ///< configuration API
    std::optional<std::string> getConfigCloudEndpoint = {};   ///< base URL of the configuration CDN
    std::optional<std::string> sendStateApiEndpoint = {};     ///< state API
    std::optional<std::string> sendStateCloudEndpoint = {};   ///< base URL of the state CDN
    std::optional<std::string> analyticsEndpoint = {};        ///< base URL of the analytics service
    std::optional<std::string> pushNotificationEndpoint = {}; ///< push stream
};
