#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kiv {

/// The bytes of a text in the standard alphabet with padding. Nullopt for white space, line breaks, other
/// characters, and missing or misplaced padding. The empty text gives no bytes.
std::optional<std::string> decodeBase64(std::string_view text);

/// The bytes in the standard alphabet with padding, on one line.
std::string encodeBase64(std::string_view bytes);

} // namespace kiv
