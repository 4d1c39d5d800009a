#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Http/HttpCall.h"
#include "serve/Records.h"

namespace kiv::tool {

/// The page on which a service shows what applications have reported.
namespace overview {

inline constexpr std::string_view pagePath = "/";
inline constexpr std::string_view dataPath = "/overview";   ///< what the page shows, as JSON
inline constexpr std::string_view changesPath = "/changes"; ///< a stream that tells when to ask again

/// The answer with the page's file at that path; nothing when there is none.
std::optional<HttpAnswer> file(std::string_view path);

/// The answer with what the page shows of one of the keys, as JSON. The query is `key=KEY&state=VERSION`.
/// Without KEY, or when KEY is unknown, the answer is about the first key. VERSION is the version of the
/// state that the page already has; the answer leaves out the document of that state.
HttpAnswer data(Records& records, const std::vector<std::string>& keys, std::string_view query);

} // namespace overview
} // namespace kiv::tool
