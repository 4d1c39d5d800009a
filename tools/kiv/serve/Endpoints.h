#pragma once

#include <string>
#include <string_view>

#include "Platform/Text/Json.h"

/// Where a service has its six endpoints.
namespace kiv::tool {

namespace endpoint {

inline constexpr std::string_view configurationCdn = "/cdn";
inline constexpr std::string_view configurationApi = "/device/get_configuration";
inline constexpr std::string_view stateCdn = "/states";
inline constexpr std::string_view stateApi = "/device/update_state_store";
inline constexpr std::string_view analytics = "/analytics";
inline constexpr std::string_view impressions = "/analytics/impression"; ///< what applications make of that
inline constexpr std::string_view push = "/sse";

} // namespace endpoint

/// The six values below `base`, by the names of their options.
json::object endpointOptions(const std::string& base);

/// Options for setup as C++ source, ready to be pasted.
std::string optionsSource(const json::object& endpoints, const std::string& certificate);

} // namespace kiv::tool
