#include "config/DataFolder.h"

#include <filesystem>

#include "Command.h"
#include "Platform/System/Files.h"

namespace kiv::tool {
namespace {

std::string folderOf(const std::string& payloads, const std::string& wanted) {
    if (!std::filesystem::is_directory(payloads)) {
        throw BadInput(payloads + ": is no folder", std::nullopt,
                       "It is the folder with a payload KEY.flags.json for each key.");
    }
    return wanted.empty() ? payloads + "/.kiv" : wanted;
}

} // namespace

std::string dataFolder(const std::string& payloads, const std::string& wanted) {
    const std::string folder = folderOf(payloads, wanted);
    if (std::filesystem::is_directory(folder)) {
        return folder;
    }
    // The signing key must not be committed.
    if (!makeDirectories(folder) || !writeFile(folder + "/.gitignore", "*\n")) {
        throw BadInput(folder + ": cannot be made", std::nullopt,
                       "Check that the folder above it may be written to, or name another one with --data.");
    }
    return folder;
}

std::string recordsFile(const std::string& dataFolder) { return dataFolder + "/records.sqlite"; }

std::string existingRecords(const std::string& payloads, const std::string& wanted) {
    std::string file = recordsFile(folderOf(payloads, wanted));
    if (!std::filesystem::exists(file)) {
        throw BadInput(file + ": there are no records", std::nullopt,
                       "'kiv serve " + payloads +
                           "' writes them. If it runs with --data, give the same --data here.");
    }
    return file;
}

} // namespace kiv::tool
