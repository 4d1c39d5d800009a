#pragma once

#include <string_view>

/// The two forms of SDK keys. Both letter cases are accepted; white space around the key is not.
namespace kiv {

/// Hexadecimal digits and hyphens as 8-4-4-4-12.
bool isUuidForm(std::string_view text);

/// 24 hexadecimal digits.
bool isApplicationKeyForm(std::string_view text);

} // namespace kiv
