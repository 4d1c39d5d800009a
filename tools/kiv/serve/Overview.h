#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Http/HttpCall.h"
#include "serve/Records.h"

namespace kiv::tool {

/// The page on which a service shows people what applications have told it.
namespace overview {

inline constexpr std::string_view pagePath = "/";
inline constexpr std::string_view dataPath = "/overview";   ///< what the page shows, as JSON
inline constexpr std::string_view changesPath = "/changes"; ///< a stream that tells when to ask again

/// A file of the page; nothing when there is none at the path.
std::optional<HttpAnswer> file(std::string_view path);

/// What the page shows of the key that the query names, or of the first: `key=KEY&state=VERSION`, where
/// VERSION is that of the state that the page has.
HttpAnswer data(Records& records, const std::vector<std::string>& keys, std::string_view query);

} // namespace overview
} // namespace kiv::tool
