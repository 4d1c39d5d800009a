#include "Files.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Command.h"
#include "Platform/System/Descriptor.h"
#include "Platform/Text/Json.h"

namespace kiv::tool {
namespace {

[[noreturn]] void fail(const std::string& path, const std::string& what) {
    const int problem = errno;
    throw BadInput(path + ": " + what + ": " + std::strerror(problem), std::nullopt, adviceForFile(problem));
}

} // namespace

std::string readInput(const std::string& path) {
    // A second descriptor of standard input, so that the first one stays open.
    const Descriptor file(path == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                      : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
        fail(path, "cannot be read");
    }
    std::string content;
    std::array<char, 1U << 16> buffer{};
    for (;;) {
        const ssize_t size = ::read(file.get(), buffer.data(), buffer.size());
        if (size < 0) {
            fail(path, "cannot be read");
        }
        if (size == 0) {
            return content;
        }
        content.append(buffer.data(), static_cast<std::size_t>(size));
        if (content.size() > maxJsonBytes) {
            throw BadInput(path + ": larger than 64 MiB: an application would treat it as missing",
                           std::nullopt, "Give a smaller document.");
        }
    }
}

void writeOutput(const std::string& path, std::string_view bytes, mode_t mode, bool replace) {
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (replace ? O_TRUNC : O_EXCL);
    const Descriptor file(::open(path.c_str(), flags, mode));
    if (!file && errno == EEXIST) {
        throw BadInput(path + ": is there already", std::nullopt, "Add --force to replace it.");
    }
    // `open` gives the mode to new files only.
    const bool isPrivate = (mode & (S_IRWXG | S_IRWXO)) == 0;
    if (!file || (isPrivate && ::fchmod(file.get(), mode) != 0)) {
        fail(path, "cannot be written");
    }
    while (!bytes.empty()) {
        const ssize_t size = ::write(file.get(), bytes.data(), bytes.size());
        if (size < 0) {
            fail(path, "cannot be written");
        }
        bytes.remove_prefix(static_cast<std::size_t>(size));
    }
}

std::string adviceForFile(int problem) {
    switch (problem) {
    case ENOENT:
    case ENOTDIR:
        return "Check the path: it must exist, up to the file's folder when the file is new.";
    case EISDIR:
        return "This is a folder: name a file.";
    case EACCES:
    case EPERM:
    case EROFS:
        return "Change its permissions, or name another file.";
    case ENOSPC:
    case EDQUOT:
        return "Free some space on the disk, and try again.";
    default:
        return "Name another file, or try again.";
    }
}

std::string_view withoutLastLineBreak(std::string_view text) {
    if (text.ends_with('\n')) {
        text.remove_suffix(1);
    }
    if (text.ends_with('\r')) {
        text.remove_suffix(1);
    }
    return text;
}

} // namespace kiv::tool
