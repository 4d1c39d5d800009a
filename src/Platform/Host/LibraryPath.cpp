#include "Platform/Host/LibraryPath.h"

#include <kiv/KIVHost.h>

namespace kiv {

std::string libraryPath(std::string_view below) {
    const std::string folder = KIVHost::current()->libraryDirectory.value_or("");
    return folder.empty() ? folder : folder + std::string(below);
}

std::string pathIn(const std::string& folder, std::string_view fileName) {
    if (folder.empty()) {
        return {};
    }
    return folder + (fileName.starts_with('/') ? "" : "/") + std::string(fileName);
}

std::string shownPath(const std::string& path) {
    return path.empty() ? "a file: there is no Library folder" : path;
}

} // namespace kiv
