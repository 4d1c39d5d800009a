#include "Platform/Text/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <limits>
#include <system_error>

#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/stringpiece.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include "Platform/Threads/Fork.h"

namespace kiv {
namespace {

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

constexpr bool isSign(char c) { return c == '+' || c == '-'; }

const char* skipDigits(const char* at, const char* end) {
    while (at != end && isDigit(*at)) {
        ++at;
    }
    return at;
}

/// The position after the character at `at` when that is white space beyond ASCII, else `at`.
const char* skipWideSpace(const char* at, const char* end) {
    std::size_t length = 0;
    const std::int32_t character = nextCharacter({at, static_cast<std::size_t>(end - at)}, length);
    return character >= 0 && u_isUWhiteSpace(character) ? at + length : at;
}

const char* skipWhiteSpace(const char* at, const char* end) {
    while (at != end) {
        if (*at == ' ' || (*at >= '\t' && *at <= '\r')) {
            ++at;
        } else if (static_cast<unsigned char>(*at) < 0x80) {
            break;
        } else if (const char* next = skipWideSpace(at, end); next != at) {
            at = next;
        } else {
            break;
        }
    }
    return at;
}

template <class Integer>
Integer readSaturated(std::string_view text) {
    using Limits = std::numeric_limits<Integer>;
    const char* const end = text.data() + text.size();
    const char* at = skipWhiteSpace(text.data(), end);
    const bool negative = at != end && *at == '-';
    at += at != end && isSign(*at) ? 1 : 0;
    const char* const digits = at;
    at = skipDigits(at, end);
    if (at == digits) {
        return 0;
    }
    Integer value = 0;
    // Parses the minus together with the digits, so that the smallest value needs no case of its own.
    const char* const first = negative ? digits - 1 : digits;
    if (std::from_chars(first, at, value).ec == std::errc::result_out_of_range) {
        return negative ? Limits::min() : Limits::max();
    }
    return value;
}

/// An unsigned decimal number: digits with an optional point and fraction, at least one digit in all, and an
/// optional exponent.
struct Decimal {
    const char* begin;
    const char* point;    ///< end of the whole part
    const char* exponent; ///< end of the fraction
    const char* end;      ///< `begin` when there is no number

    bool empty() const { return end == begin; }
    bool isInteger() const { return point == end; }
};

Decimal scanDecimal(const char* begin, const char* end) {
    const char* const point = skipDigits(begin, end);
    const bool hasPoint = point != end && *point == '.';
    const char* const fraction = hasPoint ? skipDigits(point + 1, end) : point;
    if (point == begin && fraction - point <= 1) {
        return {begin, begin, begin, begin};
    }
    const char* at = fraction;
    if (at != end && (*at == 'e' || *at == 'E')) {
        ++at;
        at += at != end && isSign(*at) ? 1 : 0;
        const char* const past = skipDigits(at, end);
        return {begin, point, fraction, past == at ? fraction : past};
    }
    return {begin, point, fraction, fraction};
}

/// Whether a number that no double can hold is too large rather than too small.
bool isHuge(const Decimal& decimal) {
    const char* const significant =
        std::find_if(decimal.begin, decimal.exponent, [](char c) { return c != '0' && c != '.'; });
    // An exponent beyond 32 bits outweighs the digits of any text that the library reads.
    const char* at = decimal.exponent + (decimal.exponent != decimal.end ? 1 : 0);
    return decimal.point - significant + readSaturated<std::int32_t>({at, decimal.end}) > 0;
}

/// Up to fifteen digits without an exponent and their power of ten are exact in a double, so one division
/// rounds correctly.
std::optional<double> shortValue(const Decimal& decimal) {
    static constexpr std::array<double, 16> powersOfTen = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                           1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    if (decimal.exponent != decimal.end || decimal.end - decimal.begin > 15) {
        return std::nullopt;
    }
    std::int64_t digits = 0;
    for (const char* at = decimal.begin; at != decimal.end; ++at) {
        digits = at == decimal.point ? digits : digits * 10 + (*at - '0');
    }
    const std::ptrdiff_t fraction = decimal.isInteger() ? 0 : decimal.end - decimal.point - 1;
    return static_cast<double>(digits) / powersOfTen[static_cast<std::size_t>(fraction)];
}

double doubleValue(const Decimal& decimal, bool negative) {
    if (const auto value = shortValue(decimal)) {
        return negative ? -*value : *value;
    }
    double value = 0;
    const auto result = std::from_chars(decimal.begin, decimal.end, value);
    if (result.ec == std::errc::result_out_of_range) {
        value = isHuge(decimal) ? std::numeric_limits<double>::max() : 0;
    }
    return negative ? -value : value;
}

int sign(std::ptrdiff_t difference) { return (difference > 0) - (difference < 0); }

/// Compares the runs of digits at `a` and `b` by value and moves both past them.
int compareDigits(const char*& a, const char* endA, const char*& b, const char* endB) {
    const auto isZero = [](char c) { return c == '0'; };
    const char* const firstA = std::find_if_not(a, endA, isZero);
    const char* const firstB = std::find_if_not(b, endB, isZero);
    a = skipDigits(firstA, endA);
    b = skipDigits(firstB, endB);
    if (a - firstA != b - firstB) {
        return sign((a - firstA) - (b - firstB));
    }
    return a == firstA ? 0 : sign(std::memcmp(firstA, firstB, static_cast<std::size_t>(a - firstA)));
}

bool isAscii(std::string_view text) {
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

} // namespace

bool readBoolean(std::string_view text) {
    const char* const end = text.data() + text.size();
    const char* at = skipWhiteSpace(text.data(), end);
    at += at != end && isSign(*at) ? 1 : 0;
    while (at != end && *at == '0') {
        ++at;
    }
    return at != end && (isDigit(*at) || *at == 't' || *at == 'T' || *at == 'y' || *at == 'Y');
}

std::int64_t readInteger(std::string_view text) { return readSaturated<std::int64_t>(text); }

std::int32_t readInteger32(std::string_view text) { return readSaturated<std::int32_t>(text); }

double readDouble(std::string_view text) {
    const char* const end = text.data() + text.size();
    const char* at = skipWhiteSpace(text.data(), end);
    const bool negative = at != end && *at == '-';
    at += at != end && isSign(*at) ? 1 : 0;
    const Decimal decimal = scanDecimal(at, end);
    return decimal.empty() ? 0 : doubleValue(decimal, negative);
}

std::optional<Number> parseNumber(std::string_view text) {
    const char* const end = text.data() + text.size();
    const bool negative = !text.empty() && text.front() == '-';
    const Decimal decimal = scanDecimal(text.data() + (negative ? 1 : 0), end);
    if (decimal.empty() || decimal.end != end) {
        return std::nullopt;
    }
    if (decimal.isInteger()) {
        std::int64_t integer = 0;
        if (std::from_chars(text.data(), end, integer).ec == std::errc()) {
            return integer;
        }
    }
    return doubleValue(decimal, negative);
}

std::string integerText(std::int64_t value) {
    std::array<char, 24> buffer;
    return {buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr};
}

std::string doubleText(double value) {
    if (!std::isfinite(value)) {
        return std::isnan(value) ? "nan" : value < 0 ? "-inf" : "inf";
    }
    // The scientific form has the fewest digits; the fixed form of a large number has all digits of its exact
    // value.
    std::array<char, 32> buffer;
    const char* const begin = buffer.data();
    const char* const end =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::scientific).ptr;
    const char* const mark = std::find(begin, end, 'e');
    int exponent = 0;
    std::from_chars(mark + (mark[1] == '+' ? 2 : 1), end, exponent);

    std::string digits;
    std::copy_if(begin, mark, std::back_inserter(digits), isDigit);
    const auto count = static_cast<int>(digits.size());
    if (exponent < 0) {
        digits.insert(0, static_cast<std::size_t>(-exponent), '0');
        digits.insert(1, 1, '.');
    } else if (exponent >= count - 1) {
        digits.append(static_cast<std::size_t>(exponent - count + 1), '0');
    } else {
        digits.insert(static_cast<std::size_t>(exponent) + 1, 1, '.');
    }
    return std::signbit(value) ? "-" + digits : digits;
}

int compareNumerically(std::string_view a, std::string_view b) {
    const char* atA = a.data();
    const char* atB = b.data();
    const char* const endA = atA + a.size();
    const char* const endB = atB + b.size();
    while (atA != endA && atB != endB) {
        if (isDigit(*atA) && isDigit(*atB)) {
            if (const int order = compareDigits(atA, endA, atB, endB)) {
                return order;
            }
        } else if (*atA != *atB) {
            // The order of the bytes of UTF-8 is the order of the code points.
            return static_cast<unsigned char>(*atA) < static_cast<unsigned char>(*atB) ? -1 : 1;
        } else {
            ++atA;
            ++atB;
        }
    }
    return atA != endA ? 1 : atB != endB ? -1 : 0;
}

// The code of the macro contains narrowing conversions.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"

std::int32_t nextCharacter(std::string_view text, std::size_t& at) {
    UChar32 character = 0;
    U8_NEXT(text.data(), at, text.size(), character);
    return character;
}

#pragma GCC diagnostic pop

bool isValidUtf8(std::string_view text) {
    if (isAscii(text)) {
        return true;
    }
    for (std::size_t at = 0; at < text.size();) {
        if (nextCharacter(text, at) < 0) {
            return false;
        }
    }
    return true;
}

std::string repairUtf8(std::string_view text) {
    if (isAscii(text)) {
        return std::string(text);
    }
    std::string repaired;
    repaired.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t start = at;
        if (nextCharacter(text, at) < 0) {
            repaired += "\xEF\xBF\xBD";
        } else {
            repaired += text.substr(start, at - start);
        }
    }
    return repaired;
}

std::string_view withoutLeadingSpace(std::string_view text) {
    const char* const end = text.data() + text.size();
    const char* const at = skipWhiteSpace(text.data(), end);
    return {at, static_cast<std::size_t>(end - at)};
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

namespace {

/// `map` writes the text with its cases changed to the sink.
template <class Map>
std::string withCases(std::string_view text, Map map) {
    constexpr auto longest = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
    const std::string_view input = text.substr(0, longest);
    UErrorCode status = U_ZERO_ERROR;
    std::string result;
    icu::StringByteSink<std::string> sink(&result);
    map(icu::StringPiece(input.data(), static_cast<std::int32_t>(input.size())), sink, status);
    return U_SUCCESS(status) ? result : std::string(text);
}

} // namespace

// The empty name selects the root locale; null would select the locale of the process.

std::string capitalized(std::string_view text) {
    const ForkShield shield; // ICU has locks of its own
    return withCases(text, [](icu::StringPiece input, icu::ByteSink& sink, UErrorCode& status) {
        icu::CaseMap::utf8ToTitle("", 0, nullptr, input, sink, nullptr, status);
    });
}

std::string lowercased(std::string_view text) {
    return withCases(text, [](icu::StringPiece input, icu::ByteSink& sink, UErrorCode& status) {
        icu::CaseMap::utf8ToLower("", 0, input, sink, nullptr, status);
    });
}

std::string lowercasedAscii(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return result;
}

std::string uppercasedAscii(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return result;
}

std::string hexText(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
    return text;
}

} // namespace kiv
