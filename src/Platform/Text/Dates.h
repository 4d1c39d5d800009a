#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <kiv/KIVDate.h>

namespace kiv {

/// Parses "yyyy-MM-dd'T'HH:mm:ss.SSSZ" with the zone written as Z, +0000 or +00:00 (any offset). Missing
/// milliseconds, fields out of range (31 February too) or trailing text give nothing.
std::optional<KIVDate> parseDate(std::string_view text);

/// The same format, in UTC, with the zone written as "Z", cut to milliseconds.
std::string dateText(KIVDate date);

} // namespace kiv
