#pragma once

#include <optional>
#include <string_view>

#include "Platform/Text/Json.h"

namespace kiv {

/// The value at the top of a binary list, as decodeAnyPropertyList describes it. Does not check the seal.
std::optional<json::value> readBinaryPropertyList(std::string_view bytes);

} // namespace kiv
