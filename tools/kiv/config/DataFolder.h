#pragma once

#include <string>

/// Where a service keeps what it makes: its signing key and its records.
namespace kiv::tool {

/// The data folder: `wanted`, or `.kiv` inside the folder `payloads` when `wanted` is empty. A missing one is
/// made, with a `.gitignore` that keeps its files out of version control. Throws `BadInput`.
std::string dataFolder(const std::string& payloads, const std::string& wanted);

std::string recordsFile(const std::string& dataFolder);

/// The records file in the data folder. Makes neither the folder nor the file. Throws `BadInput` when the
/// file does not exist.
std::string existingRecords(const std::string& payloads, const std::string& wanted);

} // namespace kiv::tool
