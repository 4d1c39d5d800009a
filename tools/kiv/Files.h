#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

namespace kiv::tool {

/// The content of the file, or of standard input for "-". Throws `BadInput` when it cannot be read, or is
/// larger than the 64 MiB that the library takes.
std::string readInput(const std::string& path);

/// Writes the file with that mode. Throws `BadInput` when it cannot be written, or when it exists and
/// `replace` is not set.
void writeOutput(const std::string& path, std::string_view bytes, mode_t mode, bool replace);

/// What to do when the system refuses to read or write a file with the error number `problem`.
std::string adviceForFile(int problem);

/// The text without one line break at its end, if it has any.
std::string_view withoutLastLineBreak(std::string_view text);

} // namespace kiv::tool
