#pragma once

#include <optional>
#include <string_view>

#include "Platform/Text/Json.h"

namespace kiv {

/// The value at the top of a list in XML, as decodeAnyPropertyList describes it. `bytes` has at most 256 MiB.
std::optional<json::value> readXmlPropertyList(std::string_view bytes);

} // namespace kiv
