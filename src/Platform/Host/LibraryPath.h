#pragma once

#include <string>
#include <string_view>

/// The paths of the files that the library keeps. An empty path names no file: reading it and writing to it
/// fail, and the values that the file would hold are kept in memory only.
namespace kiv {

/// The path of a file or folder below the present host's Library folder; empty when the host has none.
/// `below` begins with a slash.
std::string libraryPath(std::string_view below);

/// The path of a file in `folder`; empty when `folder` is empty.
std::string pathIn(const std::string& folder, std::string_view fileName);

/// The path as messages for people show it.
std::string shownPath(const std::string& path);

} // namespace kiv
