#include "Platform/System/Files.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Platform/System/Descriptor.h"
#include "Platform/Threads/Fork.h"

namespace kiv {
namespace {

/// Repeats a system call that a signal interrupted.
template <class Call>
auto retried(const Call& call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

bool writeAll(const Descriptor& file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = retried([&] { return ::write(file.get(), bytes.data(), bytes.size()); });
        if (written <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool sync(const Descriptor& file) {
    return retried([&] { return ::fsync(file.get()); }) == 0;
}

/// The folder that a file or folder lies in, with its last slash; empty for the working folder.
std::string folderOf(const std::string& path) { return path.substr(0, path.find_last_of('/') + 1); }

void syncFolder(const std::string& folder) {
    const std::string path = folder.empty() ? "." : folder;
    // Some file systems cannot sync a folder. The new file is in place even then.
    if (const Descriptor opened(
            retried([&] { return ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
        opened) {
        sync(opened);
    }
}

bool isFolder(const std::string& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void removeOlder(std::chrono::minutes age, const std::string& folder, std::string_view prefix) {
    std::error_code failure;
    for (std::filesystem::directory_iterator file(folder, failure), end; !failure && file != end;
         file.increment(failure)) {
        std::error_code gone;
        const auto written = file->last_write_time(gone);
        if (!gone && file->path().filename().native().starts_with(prefix) &&
            std::filesystem::file_time_type::clock::now() - written > age) {
            ::unlink(file->path().c_str());
        }
    }
}

constexpr std::string_view temporaryPrefix = ".kiv-";

/// Writes the bytes to a temporary file in the same folder; `putInPlace` then gives it the file's name.
template <class PutInPlace>
bool writeThrough(const std::string& path, std::string_view bytes, PutInPlace&& putInPlace) {
    if (path.empty() || isSilentFork()) {
        return false;
    }
    const std::string folder = folderOf(path);
    if (!folder.empty() && !makeDirectories(folder)) {
        return false;
    }
    std::string temporary;
    Descriptor file(retried([&] {
        temporary = folder + std::string(temporaryPrefix) + "XXXXXX";
        return ::mkostemp(temporary.data(), O_CLOEXEC);
    }));
    if (!file) {
        return false;
    }
    if (!writeAll(file, bytes) || !sync(file) || !file.close() || !putInPlace(temporary.c_str())) {
        ::unlink(temporary.c_str());
        return false;
    }
    syncFolder(folder);
    return true;
}

} // namespace

std::optional<std::string> readFile(const std::string& path, std::size_t maxBytes) {
    // Non-blocking, or opening a pipe would wait for its other end.
    const Descriptor file(
        retried([&] { return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::uintmax_t>(status.st_size) > maxBytes) {
        return std::nullopt;
    }
    // The file may grow or shrink meanwhile, and files below /proc report no size. With room for one byte
    // more than expected, the first read finds the end of most files.
    std::string bytes;
    std::size_t size = 0;
    bytes.resize(static_cast<std::size_t>(status.st_size) + 1);
    for (;;) {
        const ssize_t count =
            retried([&] { return ::read(file.get(), bytes.data() + size, bytes.size() - size); });
        if (count < 0) {
            return std::nullopt;
        }
        size += static_cast<std::size_t>(count);
        if (size > maxBytes) {
            return std::nullopt;
        }
        if (count == 0) {
            bytes.resize(size);
            return bytes;
        }
        if (size == bytes.size()) {
            bytes.resize(2 * size + 4096);
        }
    }
}

bool writeFile(const std::string& path, std::string_view bytes) {
    return writeThrough(path, bytes,
                        [&](const char* temporary) { return std::rename(temporary, path.c_str()) == 0; });
}

bool createFile(const std::string& path, std::string_view bytes) {
    return writeThrough(path, bytes, [&](const char* temporary) {
        const bool linked = ::link(temporary, path.c_str()) == 0;
        if (linked) {
            ::unlink(temporary);
        }
        return linked;
    });
}

bool makeDirectories(const std::string& path) {
    if (isFolder(path) || isSilentFork()) {
        return isFolder(path);
    }
    // Makes the folders from the top down. A folder that exists, or that another process makes first, is no
    // failure.
    for (std::size_t end = path.find('/', 1); end != path.npos; end = path.find('/', end + 1)) {
        ::mkdir(path.substr(0, end).c_str(), 0700);
    }
    ::mkdir(path.c_str(), 0700);
    return isFolder(path);
}

bool removeFile(const std::string& path) {
    if (isSilentFork()) {
        return !fileExists(path);
    }
    return ::unlink(path.c_str()) == 0 || errno == ENOENT || errno == ENOTDIR;
}

bool removeDirectory(const std::string& path) {
    if (isSilentFork()) {
        return !isFolder(path);
    }
    std::error_code failure;
    std::filesystem::remove_all(path, failure);
    return !failure;
}

std::error_code excludeFromBackup(const std::string& path) {
    const Descriptor file(retried([&] { return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); }));
    int flags = 0;
    const bool excluded = file && ::ioctl(file.get(), FS_IOC_GETFLAGS, &flags) == 0 &&
                          ::ioctl(file.get(), FS_IOC_SETFLAGS, &(flags |= FS_NODUMP_FL)) == 0;
    return excluded ? std::error_code() : std::error_code(errno, std::generic_category());
}

void removeAbandonedTemporaries(const std::string& folder) {
    if (isSilentFork()) {
        return;
    }
    constexpr std::chrono::minutes longestWrite{1};
    removeOlder(longestWrite, folder, temporaryPrefix);
}

bool fileExists(const std::string& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

PrivateFile::PrivateFile(std::string_view bytes, std::string_view suffix) {
    std::error_code failure;
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    const std::string folder =
        runtime && isFolder(runtime) ? runtime : std::filesystem::temp_directory_path(failure).string();
    constexpr std::string_view prefix = "kiv-private-";
    constexpr std::chrono::hours longestUse{1};
    removeOlder(longestUse, folder, prefix);
    std::string path = folder + "/" + std::string(prefix) + "XXXXXX" + std::string(suffix);
    Descriptor file(retried([&] { return ::mkostemps(path.data(), int(suffix.size()), O_CLOEXEC); }));
    if (!file) {
        return;
    }
    path_ = std::move(path);
    if (!writeAll(file, bytes) || !file.close()) {
        removeFile(std::exchange(path_, {}));
    }
}

PrivateFile::~PrivateFile() {
    if (!path_.empty()) {
        removeFile(path_);
    }
}

} // namespace kiv
