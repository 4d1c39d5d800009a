#pragma once

#include <string>
#include <string_view>

#include "Platform/Text/Json.h"

namespace kiv {

/// The XML form. Nulls are dropped with their member; what of a text is not UTF-8, and each character that
/// XML lacks (control characters, a zero byte), is replaced. Empty where encodePropertyList is.
std::string encodeXmlPropertyList(const json::object& dictionary);
std::string encodeXmlPropertyList(const json::array& array);
std::string encodeXmlPropertyList(std::string_view text);

} // namespace kiv
