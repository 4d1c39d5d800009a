#pragma once

#include <string>

/// Where a service keeps what it makes: its signing key and its records.
namespace kiv::tool {

/// The folder that was asked for, or the one inside the folder of payloads; made when it is missing, so that
/// version control leaves it alone. Throws `BadInput`.
std::string dataFolder(const std::string& payloads, const std::string& wanted);

std::string recordsFile(const std::string& dataFolder);

/// The file of records that are there already, in the folder that `dataFolder` would give. Throws `BadInput`.
std::string existingRecords(const std::string& payloads, const std::string& wanted);

} // namespace kiv::tool
