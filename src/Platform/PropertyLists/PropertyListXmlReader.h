#pragma once

#include <optional>
#include <string_view>

#include "Platform/Text/Json.h"

namespace kiv {

/// What stands at the top of a property list in XML, as decodeAnyPropertyList says of any list.
std::optional<json::value> readXmlPropertyList(std::string_view bytes);

} // namespace kiv
