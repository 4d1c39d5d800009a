#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

namespace kiv::tool {

/// The whole file, or standard input for "-". Throws `BadInput` when it cannot be read or is larger than what
/// the library takes, 64 MiB.
std::string readInput(const std::string& path);

/// Writes the file with that mode, in place of one that is there when `replace` is set. Throws `BadInput`.
void writeOutput(const std::string& path, std::string_view bytes, mode_t mode, bool replace);

/// The text without the line break at its end.
std::string_view withoutLastLineBreak(std::string_view text);

} // namespace kiv::tool
