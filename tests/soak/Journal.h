#pragma once

#include <string>

#include <unistd.h>

/// Tells the driver one line, on standard output, at once and whole: the process may be killed at any moment.
inline void tell(std::string line) {
    line += '\n';
    [[maybe_unused]] const ssize_t written = ::write(STDOUT_FILENO, line.data(), line.size());
}
