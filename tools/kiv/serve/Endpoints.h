#pragma once

#include <string>
#include <string_view>

#include "Platform/Text/Json.h"

/// The paths of a service's six endpoints.
namespace kiv::tool {

namespace endpoint {

inline constexpr std::string_view configurationCdn = "/cdn";
inline constexpr std::string_view configurationApi = "/device/get_configuration";
inline constexpr std::string_view stateCdn = "/states";
inline constexpr std::string_view stateApi = "/device/update_state_store";
inline constexpr std::string_view analytics = "/analytics";
inline constexpr std::string_view impressions = "/analytics/impression"; ///< posted below `analytics`
inline constexpr std::string_view push = "/sse";

} // namespace endpoint

/// The six endpoints of the service at the URL `base`, by the names of their options in
/// `KIVNetworkConfigurationsOptions`.
json::object endpointOptions(const std::string& base);

/// The options for setup as C++ source, ready to be pasted.
std::string optionsSource(const json::object& endpoints, const std::string& certificate);

} // namespace kiv::tool
