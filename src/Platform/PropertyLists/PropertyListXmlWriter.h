#pragma once

#include <string>
#include <string_view>

#include "Platform/Text/Json.h"

namespace kiv {

/// The value as a list in XML. Drops nulls; in a dictionary the whole member goes. Bytes of a text that are
/// not UTF-8, and characters that XML lacks (control characters, a zero byte), are replaced by U+FFFD. Empty
/// when decodeAnyPropertyList would refuse the list for its depth or its size in memory.
std::string encodeXmlPropertyList(const json::object& dictionary);
std::string encodeXmlPropertyList(const json::array& array);
std::string encodeXmlPropertyList(std::string_view text);

} // namespace kiv
