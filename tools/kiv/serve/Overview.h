#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Http/HttpCall.h"
#include "serve/Records.h"
#include "serve/ServedDocument.h"

namespace kiv::tool {

/// The pages on which a service shows what applications have reported: all flags of a key, and one flag.
namespace overview {

inline constexpr std::string_view pagePath = "/";
inline constexpr std::string_view flagPagePath = "/flag";
inline constexpr std::string_view dataPath = "/overview";      ///< what the page shows, as JSON
inline constexpr std::string_view flagDataPath = "/flag/data"; ///< what the page of a flag shows, as JSON
inline constexpr std::string_view changesPath = "/changes";    ///< a stream that tells when to ask again

/// The answer with the pages' file at that path; nothing when there is none.
std::optional<HttpAnswer> file(std::string_view path);

/// The answer with what the page shows of one of the keys, as JSON. The query is
/// `key=KEY&search=TEXT&sort=ORDER&state=VERSION`. Without KEY, or when KEY is unknown, the answer is about
/// the first key. Only flags whose name contains TEXT are listed, case aside, by "name", "count" or "change";
/// the totals are of all flags. VERSION is the version of the state that the page already has; the answer
/// leaves out the properties of that state. `document` is the key's.
HttpAnswer data(Records& records, const std::vector<std::string>& keys, const std::string& key,
                const ServedDocument& document, std::string_view query);

/// The key that a query asks for, or the first of `keys`; empty when there are no keys.
std::string askedKey(const std::vector<std::string>& keys, std::string_view query);

} // namespace overview
} // namespace kiv::tool
