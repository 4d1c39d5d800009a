#pragma once

#include <cstdint>
#include <string_view>

namespace kiv {

/// Reads the numbers of flags from configured texts. A text that is no number of the form asked for gives the
/// default.

/// "7" and "7.0" give 7; "7.5", "abc" and "0.0" give the default's integer reading.
std::int64_t parseInt(std::string_view text, std::string_view defaultValue);

/// A text of another format gives the default's double reading, and so does a text other than "0" that reads
/// as zero ("0.0").
double parseDouble(std::string_view text, std::string_view defaultValue);

/// An optional minus, digits and an optional fraction: no exponent, no plus sign, no space around.
bool checkDoubleFormat(std::string_view text);

} // namespace kiv
