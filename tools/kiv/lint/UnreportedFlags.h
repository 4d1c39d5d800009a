#pragma once

#include <string>
#include <vector>

#include "Platform/Text/Json.h"
#include "config/Finding.h"

namespace kiv::tool {

/// The file with the records of a service. `folder` is the folder of payloads that the service was started
/// with, or its data folder. Throws `BadInput` when there are no records.
std::string recordsOfService(const std::string& folder);

/// A warning for each flag that the payload names and that no application with the key has reported, by the
/// records in the file. Throws `BadInput` when they cannot be read.
std::vector<Finding> unreportedFlags(const json::object& payload, const std::string& key,
                                     const std::string& records);

} // namespace kiv::tool
