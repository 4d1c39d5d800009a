#pragma once

#include <string>

#include "Platform/Text/Json.h"

namespace kiv {

/// The dictionary as a binary list without a seal; empty in the cases that encodePropertyList names.
std::string writeBinaryPropertyList(const json::object& dictionary);

} // namespace kiv
