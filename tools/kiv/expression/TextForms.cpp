#include "expression/TextForms.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include <unicode/uchar.h>

#include "Platform/Crypto/Base64.h"
#include "Platform/Text/Text.h"
#include "Terminal.h"

namespace kiv::tool {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isText(std::string_view base64) {
    const auto bytes = decodeBase64(base64);
    return bytes && isValidUtf8(*bytes);
}

std::string characterName(UChar32 character) {
    std::array<char, 128> name{};
    UErrorCode status = U_ZERO_ERROR;
    u_charName(character, U_UNICODE_CHAR_NAME, name.data(), name.size(), &status);
    std::array<char, 16> code{};
    std::snprintf(code.data(), code.size(), "U+%04X", static_cast<unsigned>(character));
    const std::string words = U_SUCCESS(status) ? lowercasedAscii(name.data()) : "";
    return code.data() + (words.empty() ? "" : " (" + words + ")");
}

/// Format characters that writing in some scripts and emoji need.
bool isNeededInScripts(UChar32 character) {
    return (character >= 0x200C && character <= 0x200F) || (character >= 0x202A && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069) || (character >= 0xE0020 && character <= 0xE007F);
}

} // namespace

std::optional<FormProblem> base64Problem(std::string_view text) {
    if (isText(text)) {
        return {};
    }
    std::string written(trimmed(text));
    std::erase_if(written, [](char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; });
    std::string problem = " is no Base64";
    if (decodeBase64(text)) {
        return FormProblem{" does not decode to a text: its bytes are no UTF-8", ""};
    }
    if (written.size() != text.size()) {
        problem += ": it contains white space";
    } else if (written.find_first_of("-_") != written.npos) {
        problem += ": it is written in the alphabet for URLs";
    }
    std::ranges::replace(written, '-', '+');
    std::ranges::replace(written, '_', '/');
    const std::size_t unpadded = std::min(written.find_last_not_of('=') + 1, written.size());
    std::string padded = written.substr(0, unpadded);
    padded.append((4 - padded.size() % 4) % 4, '=');
    if (padded != written && decodeBase64(padded)) {
        problem += problem.find(':') == problem.npos ? ": its padding is missing" : ", and lacks its padding";
    }
    return FormProblem{std::move(problem), isText(padded) ? "Write \"" + printable(padded) + "\"." : ""};
}

std::optional<FormProblem> versionProblem(std::string_view text) {
    const std::size_t start = std::min(text.find_first_not_of("<>=!~^vV \t"), text.size());
    const std::string_view before = text.substr(0, start);
    const std::string_view version = trimmed(text.substr(start));
    if (version.empty() || !isDigit(version.front()) || version == text) {
        return {};
    }
    const std::string advice = "Write " + inQuotes(version) + ".";
    if (before.find_first_of("<>=!~^") != before.npos) {
        return FormProblem{" begins with " + inQuotes(trimmed(before)) +
                               ", which counts as a part of the version",
                           advice + " The operator's name alone says how to compare."};
    }
    if (before.find_first_of("vV") != before.npos) {
        return FormProblem{" begins with a letter, and a letter is greater than every digit", advice};
    }
    return FormProblem{" has white space around it, which counts as a part of the version", advice};
}

bool isVersion(std::string_view text) {
    return text.size() > 4 && isDigit(text.front()) && isDigit(text.back()) &&
           std::ranges::count(text, '.') > 1 && text.find_first_not_of("0123456789.") == text.npos;
}

std::string adviceForNumber(std::string_view text) {
    if (isVersion(text)) {
        return "The operators for versions are semverLt, semverEq and so on.";
    }
    std::string number(trimmed(text));
    std::ranges::replace(number, ',', '.');
    number.erase(0, number.starts_with('+') ? 1 : 0);
    const bool isGrouped = text.find(',') != text.npos && text.size() - text.find(',') == 4;
    return number != text && !isGrouped && parseNumber(number) ? "Write " + number + "." : "";
}

std::string patternProblem(std::string_view pattern, std::string_view error) {
    if (pattern.empty()) {
        return "the pattern is empty; \"^\" matches every text";
    }
    // U_REGEX_MISSING_CLOSE_BRACKET becomes "missing close bracket".
    constexpr std::string_view prefix = "U_REGEX_";
    std::string words = lowercasedAscii(error.substr(error.starts_with(prefix) ? prefix.size() : 0));
    std::ranges::replace(words, '_', ' ');
    return "the pattern does not compile: " + words;
}

std::string adviceForLastBackslash(std::string_view text) {
    return "A backslash escapes the quote after it, so no text can end in one. For the text " +
           inQuotes(text) + ", write b64d(\"" + encodeBase64(text) + "\").";
}

std::string invisibleCharacter(std::string_view text, bool withSpaces) {
    for (std::size_t at = 0; at < text.size();) {
        const UChar32 character = nextCharacter(text, at);
        if (character < 0x80) {
            continue;
        }
        const auto category = static_cast<UCharCategory>(u_charType(character));
        const bool isFormat = category == U_FORMAT_CHAR && !isNeededInScripts(character);
        const bool isSpace = category == U_SPACE_SEPARATOR || category == U_LINE_SEPARATOR ||
                             category == U_PARAGRAPH_SEPARATOR;
        if (isFormat || (isSpace && withSpaces)) {
            return characterName(character);
        }
    }
    return "";
}

} // namespace kiv::tool
