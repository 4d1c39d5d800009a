#include "serve/Query.h"

#include <algorithm>
#include <charconv>

namespace kiv::tool {
namespace {

/// Undoes the encoding of a browser: %41 is "A", and + a blank. A % without two digits stands for itself.
std::string decoded(std::string_view text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        unsigned char code = 0;
        const char* digits = text.data() + at + 1;
        if (text[at] == '%' && text.size() - at > 2 &&
            std::from_chars(digits, digits + 2, code, 16).ptr == digits + 2) {
            plain += static_cast<char>(code);
            at += 2;
        } else {
            plain += text[at] == '+' ? ' ' : text[at];
        }
    }
    return plain;
}

} // namespace

std::string parameter(std::string_view query, std::string_view name) {
    while (!query.empty()) {
        const std::string_view part = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(part.size() + 1, query.size()));
        if (part.starts_with(name) && part.substr(name.size()).starts_with('=')) {
            return decoded(part.substr(name.size() + 1));
        }
    }
    return {};
}

std::string shortened(std::string_view text) {
    constexpr std::size_t mostBytes = 300;
    if (text.size() <= mostBytes) {
        return std::string(text);
    }
    std::size_t end = mostBytes;
    while (end > 0 && (text[end] & 0xC0) == 0x80) { // inside a character
        --end;
    }
    return std::string(text.substr(0, end)) + "…";
}

} // namespace kiv::tool
