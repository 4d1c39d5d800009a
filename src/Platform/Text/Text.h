#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

/// The library's one reading of texts as numbers, and of numbers as texts. Locale plays no part anywhere
/// here.
namespace kiv {

using Number = std::variant<std::int64_t, double>;

/// Boolean reading: after white space, an optional sign and zeros, true when the next character is one of
/// tTyY1-9.
bool readBoolean(std::string_view text);

/// Lenient integer reading: white space, optional sign, digits, the rest ignored; 0 when there are no digits.
/// Saturates at the ends of the range.
std::int64_t readInteger(std::string_view text);
std::int32_t readInteger32(std::string_view text);

/// Lenient double reading: white space, then the longest decimal prefix with optional fraction and exponent;
/// else 0.
double readDouble(std::string_view text);

/// Strict number parse: the whole text is an optional minus, digits with an optional point and fraction, and
/// an optional exponent. Whole numbers that fit 64 bits and have neither point nor exponent come as integers.
std::optional<Number> parseNumber(std::string_view text);

std::string integerText(std::int64_t value);

/// Shortest decimal text that reads back to the same double, without an exponent and without trailing zeros.
std::string doubleText(double value);

/// Numeric text comparison: runs of ASCII digits by value, all else by code point. -1, 0 or 1 for a < b, a ==
/// b, a > b.
int compareNumerically(std::string_view a, std::string_view b);

/// The code point at byte `at`, which is before the end; negative when the bytes there are malformed UTF-8.
/// Moves `at` past it.
std::int32_t nextCharacter(std::string_view text, std::size_t& at);

bool isValidUtf8(std::string_view text);

/// The text with every malformed sequence replaced by U+FFFD.
std::string repairUtf8(std::string_view text);

/// The text without the white space, line ends included, that it begins with.
std::string_view withoutLeadingSpace(std::string_view text);

/// The text without the spaces, tabs and line ends at its beginning and end.
std::string_view trimmed(std::string_view text);

/// The first letter of each word in upper case, all others in lower case.
std::string capitalized(std::string_view text);

/// All letters in lower case, those of other scripts too.
std::string lowercased(std::string_view text);

/// A to Z in lower case; all other bytes stay as they are.
std::string lowercasedAscii(std::string_view text);

/// Two lower-case hexadecimal digits for each byte.
std::string hexText(std::string_view bytes);

} // namespace kiv
