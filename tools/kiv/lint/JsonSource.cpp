#include "lint/JsonSource.h"

#include <algorithm>

#include "Platform/Text/Json.h"
#include "Platform/Text/Text.h"

namespace kiv::tool {
namespace {

/// Bytes of the escape at the start of `text`, a pair of surrogates taken as one; 1 when there is no escape.
std::size_t escapeLength(std::string_view text) {
    constexpr std::size_t ofCode = 6;
    if (text.size() < 2 || text.front() != '\\') {
        return 1;
    }
    if (text[1] != 'u') {
        return 2;
    }
    const bool isPair = text.size() >= 2 * ofCode && (text[2] == 'd' || text[2] == 'D') &&
                        std::string_view("89abAB").find(text[3]) != std::string_view::npos &&
                        text.substr(ofCode, 2) == "\\u";
    return std::min(isPair ? 2 * ofCode : ofCode, text.size());
}

/// Bytes of UTF-8 that the escape stands for.
std::size_t decodedLength(std::string_view escape) {
    if (escape.size() < 6) {
        return 1;
    }
    if (escape.size() > 6) {
        return 4;
    }
    const auto code = std::stoul("0" + std::string(escape.substr(2)), nullptr, 16);
    return code < 0x80 ? 1 : code < 0x800 ? 2 : 3;
}

} // namespace

std::size_t JsonSource::root() const {
    return skipSpace(text_.starts_with(byteOrderMark) ? byteOrderMark.size() : 0);
}

std::string JsonSource::content(std::size_t string) const {
    // The parser takes arrays and objects only.
    const auto array = parseJson("[" + std::string(text_.substr(string, skipString(string) - string)) + "]");
    const json::array* elements = array ? array->if_array() : nullptr;
    const bool isString = elements && elements->size() == 1 && elements->front().is_string();
    return isString ? std::string(elements->front().get_string()) : std::string();
}

void JsonSource::toBytes(std::size_t string, std::span<std::size_t> offsets) const {
    const std::size_t end = std::max(skipString(string), string + 2) - 1;
    std::size_t at = string + 1;
    std::size_t decoded = 0;
    for (std::size_t& offset : offsets) {
        while (at < end) {
            const std::size_t length = escapeLength(text_.substr(at, end - at));
            const std::size_t next = decoded + (length == 1 ? 1 : decodedLength(text_.substr(at, length)));
            if (next > offset) {
                break;
            }
            decoded = next;
            at += length;
        }
        offset = at;
    }
}

std::size_t JsonSource::byteOf(std::size_t string, std::size_t offset) const {
    toBytes(string, {&offset, 1});
    return offset;
}

std::optional<std::size_t> JsonSource::member(std::size_t object, std::string_view name) const {
    std::optional<std::size_t> found;
    if (!isAt(object, '{')) {
        return found;
    }
    std::size_t at = skipSpace(object + 1);
    while (isAt(at, '"')) {
        const std::size_t key = at;
        at = skipSpace(skipString(at));
        at = skipSpace(at + 1); // the colon
        if (content(key) == name && text_.substr(at, 4) != "null") {
            found = at;
        }
        at = skipSpace(skipValue(at));
        at = skipSpace(at + (isAt(at, ',') ? 1 : 0));
    }
    return found;
}

std::vector<std::size_t> JsonSource::elements(std::size_t array) const {
    std::vector<std::size_t> found;
    if (!isAt(array, '[')) {
        return found;
    }
    std::size_t at = skipSpace(array + 1);
    while (at < text_.size() && text_[at] != ']') {
        if (text_.substr(at, 4) != "null") {
            found.push_back(at);
        }
        at = skipSpace(skipValue(at));
        at = skipSpace(at + (isAt(at, ',') ? 1 : 0));
    }
    return found;
}

std::size_t JsonSource::skipSpace(std::size_t at) const {
    return std::min(text_.find_first_not_of(" \t\r\n", at), text_.size());
}

std::size_t JsonSource::skipString(std::size_t at) const {
    for (++at; at < text_.size() && text_[at] != '"'; ++at) {
        at += text_[at] == '\\' ? 1 : 0;
    }
    return std::min(at + 1, text_.size());
}

/// The end of the value at `at`. Always moves on.
std::size_t JsonSource::skipValue(std::size_t at) const {
    std::size_t depth = 0;
    do {
        if (isAt(at, '"')) {
            at = skipString(at);
        } else if (isAt(at, '{') || isAt(at, '[')) {
            ++depth;
            ++at;
        } else if (isAt(at, '}') || isAt(at, ']')) {
            depth -= depth > 0 ? 1 : 0;
            ++at;
        } else {
            at = std::max(at + 1, std::min(text_.find_first_of(",:{}[]\" \t\r\n", at), text_.size()));
        }
    } while (depth > 0 && at < text_.size());
    return std::min(at, text_.size());
}

} // namespace kiv::tool
