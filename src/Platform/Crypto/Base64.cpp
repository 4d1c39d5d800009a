#include "Platform/Crypto/Base64.h"

#include <algorithm>
#include <limits>

#include <openssl/evp.h>

namespace kiv {
namespace {

/// OpenSSL takes lengths as ints.
constexpr auto longest = static_cast<std::size_t>(std::numeric_limits<int>::max());

bool isAlphabetic(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

unsigned char* writable(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

const unsigned char* readable(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

} // namespace

std::optional<std::string> decodeBase64(std::string_view text) {
    if (text.empty()) {
        return std::string();
    }
    // OpenSSL would accept white space, and padding in the middle of the text.
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    if (text.size() % 4 != 0 || text.size() > longest ||
        !std::all_of(text.begin(), text.end() - static_cast<std::ptrdiff_t>(padding), isAlphabetic)) {
        return std::nullopt;
    }
    std::string bytes(text.size() / 4 * 3, '\0');
    if (EVP_DecodeBlock(writable(bytes), readable(text), static_cast<int>(text.size())) < 0) {
        return std::nullopt;
    }
    bytes.resize(bytes.size() - padding);
    return bytes;
}

std::string encodeBase64(std::string_view bytes) {
    std::string text;
    // A multiple of three bytes, so that no padding stands between pieces.
    constexpr std::size_t piece = 3U << 20;
    for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
        const std::size_t length = std::min(piece, bytes.size());
        const std::size_t start = text.size();
        // OpenSSL writes a zero byte after the text.
        text.resize(start + (length + 2) / 3 * 4 + 1);
        EVP_EncodeBlock(writable(text) + start, readable(bytes), static_cast<int>(length));
        text.pop_back();
    }
    return text;
}

} // namespace kiv
