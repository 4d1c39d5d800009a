#include "service/DataFolder.h"

#include <filesystem>

#include "Command.h"
#include "Platform/Files.h"

namespace kiv::tool {

std::string dataFolder(const std::string& payloads, const std::string& wanted) {
    if (!std::filesystem::is_directory(payloads)) {
        throw BadInput(payloads + ": is no folder", std::nullopt,
                       "It is the folder with a payload KEY.flags.json for each key.");
    }
    const std::string folder = wanted.empty() ? payloads + "/.kiv" : wanted;
    if (std::filesystem::is_directory(folder)) {
        return folder;
    }
    // The signing key is nothing to be committed.
    if (!makeDirectories(folder) || !writeFile(folder + "/.gitignore", "*\n")) {
        throw BadInput(folder + ": cannot be made");
    }
    return folder;
}

std::string recordsFile(const std::string& dataFolder) { return dataFolder + "/records.sqlite"; }

} // namespace kiv::tool
