#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

/// How the library reads numbers from texts, writes them as texts, and handles UTF-8. Nothing here depends on
/// the locale.
namespace kiv {

using Number = std::variant<std::int64_t, double>;

/// Reads a boolean: skips white space, an optional sign and zeros; true when the next character is one of
/// tTyY1-9.
bool readBoolean(std::string_view text);

/// Reads an integer leniently: white space, an optional sign, digits; ignores the rest. 0 when there are no
/// digits. A number beyond the range becomes the nearest one in it.
std::int64_t readInteger(std::string_view text);
std::int32_t readInteger32(std::string_view text);

/// Reads a double leniently: white space, then the longest decimal number, with an optional fraction and
/// exponent; ignores the rest. 0 when there is no number.
double readDouble(std::string_view text);

/// Parses a number strictly: the whole text must be an optional minus, digits with an optional point and
/// fraction, and an optional exponent. The result is an integer when the text has neither point nor exponent
/// and the number fits 64 bits.
std::optional<Number> parseNumber(std::string_view text);

std::string integerText(std::int64_t value);

/// The shortest decimal text that reads back to the same double, without an exponent and without trailing
/// zeros.
std::string doubleText(double value);

/// Compares texts, runs of ASCII digits by value and all else by code point. -1, 0 or 1 when `a` comes before
/// `b`, equals it, or comes after it.
int compareNumerically(std::string_view a, std::string_view b);

/// The code point at byte `at`, which is before the end; negative when the bytes there are malformed UTF-8.
/// Moves `at` past it.
std::int32_t nextCharacter(std::string_view text, std::size_t& at);

bool isValidUtf8(std::string_view text);

/// The text with every malformed sequence replaced by U+FFFD.
std::string repairUtf8(std::string_view text);

/// The text without white space and line ends at its beginning.
std::string_view withoutLeadingSpace(std::string_view text);

/// U+FEFF in UTF-8, with which some programs begin a text.
inline constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// The text without the spaces, tabs and line ends at its beginning and end.
std::string_view trimmed(std::string_view text);

/// The first letter of each word in upper case, all others in lower case.
std::string capitalized(std::string_view text);

/// All letters in lower case, those of other scripts too.
std::string lowercased(std::string_view text);

/// The text with A to Z in lower case; all other bytes stay as they are.
std::string lowercasedAscii(std::string_view text);

/// The text with a to z in upper case; all other bytes stay as they are.
std::string uppercasedAscii(std::string_view text);

/// Two lower-case hexadecimal digits for each byte.
std::string hexText(std::string_view bytes);

} // namespace kiv
