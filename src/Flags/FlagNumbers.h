#pragma once

#include <cstdint>
#include <string_view>

namespace kiv {

/// How flags read numbers out of configured texts. Texts that are no number of the asked form give the
/// default.

/// "7" and "7.0" give 7; "7.5", "abc" and "0.0" give the default's integer reading.
std::int64_t parseInt(std::string_view text, std::string_view defaultValue);

/// Texts out of format, and those other than "0" that read as zero, give the default's double reading.
double parseDouble(std::string_view text, std::string_view defaultValue);

/// An optional minus, digits and an optional fraction: no exponent, no plus sign, no space around.
bool checkDoubleFormat(std::string_view text);

} // namespace kiv
