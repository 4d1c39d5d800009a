#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kiv {

/// Standard alphabet with padding. White space, line breaks, other characters, missing or misplaced padding
/// give nothing. The empty text is empty data.
std::optional<std::string> decodeBase64(std::string_view text);

/// Standard alphabet with padding, on one line.
std::string encodeBase64(std::string_view bytes);

} // namespace kiv
