#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <kiv/KIVDate.h>

namespace kiv {

/// Parses "yyyy-MM-dd'T'HH:mm:ss.SSSZ"; the zone is written as Z, or as an offset like +0000 or +00:00.
/// Nullopt when milliseconds are missing, a field is out of range (31 February too), or text follows.
std::optional<KIVDate> parseDate(std::string_view text);

/// The date in the same format, in UTC, with the zone written as Z. Fractions of a millisecond are cut off.
std::string dateText(KIVDate date);

} // namespace kiv
