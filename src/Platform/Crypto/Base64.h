#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kiv {

/// Decodes a text in the standard base64 alphabet with padding. Nullopt for white space, line breaks, other
/// characters, and missing or misplaced padding. The empty text gives no bytes.
std::optional<std::string> decodeBase64(std::string_view text);

/// Encodes the bytes in the standard base64 alphabet with padding, on one line.
std::string encodeBase64(std::string_view bytes);

} // namespace kiv
