#pragma once

#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include <kiv/KIVNetworkConfigurationsOptions.h>

/// One of the six endpoints: its name in JSON and in source, and the member that holds its URL.
struct KIVEndpointField {
    std::string_view name;
    std::optional<std::string> KIVNetworkConfigurationsOptions::*url;
};

/// All six endpoints, in the order of the members of `KIVNetworkConfigurationsOptions`.
inline constexpr KIVEndpointField KIVEndpointFields[] = {
    {"getConfigApiEndpoint", &KIVNetworkConfigurationsOptions::getConfigApiEndpoint},
    {"getConfigCloudEndpoint", &KIVNetworkConfigurationsOptions::getConfigCloudEndpoint},
    {"sendStateApiEndpoint", &KIVNetworkConfigurationsOptions::sendStateApiEndpoint},
    {"sendStateCloudEndpoint", &KIVNetworkConfigurationsOptions::sendStateCloudEndpoint},
    {"analyticsEndpoint", &KIVNetworkConfigurationsOptions::analyticsEndpoint},
    {"pushNotificationEndpoint", &KIVNetworkConfigurationsOptions::pushNotificationEndpoint},
};
static_assert(sizeof(KIVNetworkConfigurationsOptions) ==
                  std::size(KIVEndpointFields) * sizeof(std::optional<std::string>),
              "each member has its line above");
