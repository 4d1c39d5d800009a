#pragma once

#include <string>
#include <string_view>

/// The files that the library keeps.
namespace kiv {

/// The path of a file or folder below the host's Library folder as it is now; `below` begins with a slash.
/// Empty when the host has no such folder: an empty path names no file, so nothing is read from it, writing
/// to it fails, and what it was meant for holds in memory only.
std::string libraryPath(std::string_view below);

/// The path of a file in a folder, which may be no folder: then it names no file either.
std::string pathIn(const std::string& folder, std::string_view fileName);

/// The path, for a person to read.
std::string shownPath(const std::string& path);

} // namespace kiv
