#pragma once

#include <string>
#include <vector>

#include "Platform/Text/Json.h"
#include "config/Finding.h"

namespace kiv::tool {

/// A warning for each flag that the payload names and no application with the key has reported to the
/// service. `folder` is the folder of payloads that the service was started with, or its data folder. Throws
/// `BadInput` when there are no records there, or when they cannot be read.
std::vector<Finding> unreportedFlags(const json::object& payload, const std::string& key,
                                     const std::string& folder);

} // namespace kiv::tool
