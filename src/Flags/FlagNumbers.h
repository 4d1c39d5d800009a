#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kiv {

/// Reads the numbers of flags from configured texts. A text in another form than the function reads gives the
/// default.

/// "7" and "7.0" give 7; "7.5", "abc" and "0.0" give `defaultValue`, read as an integer.
std::int64_t parseInt(std::string_view text, std::string_view defaultValue);

/// A text that fails `checkDoubleFormat`, and a zero that is not written "0" (for example "0.0"), give
/// `defaultValue`, read as a double.
double parseDouble(std::string_view text, std::string_view defaultValue);

/// An optional minus, digits and an optional fraction: no exponent, no plus sign, no space around.
bool checkDoubleFormat(std::string_view text);

/// A configured text in the form of the flag's type; made in `own` where it is not the text itself.
std::string_view normalizedBoolean(std::string_view value, std::string_view defaultValue, std::string& own);
std::string_view normalizedInteger(std::string_view value, std::string_view defaultValue, std::string& own);
std::string_view normalizedDouble(std::string_view value, std::string_view defaultValue, std::string& own);

} // namespace kiv
