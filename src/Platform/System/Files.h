#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

/// Small files, read and written whole. Nothing here throws; a failure gives an empty result or false. An
/// empty path names no file: reading it and writing to it fail. In a silent child after a fork
/// (Threads/Fork.h) nothing is written or removed, and everything that would do so fails.
namespace kiv {

/// The content of a regular file of at most `maxBytes`; nullopt when there is no such file, when it is
/// larger, or when it cannot be read.
std::optional<std::string> readFile(const std::string& path, std::size_t maxBytes = 64U << 20);

/// Writes the bytes to a new temporary file in the same folder, syncs it, renames it over the file and syncs
/// the folder. The file has mode 0600; its folder is made (0700) when it is missing. On failure the old file
/// stays as it was, and no temporary file is left behind. Several threads and processes may write one file:
/// the last rename wins.
bool writeFile(const std::string& path, std::string_view bytes);

/// Writes a new file in the same way. False also when a file of that name exists; that file stays as it was.
/// When several threads or processes create one file, the first wins.
bool createFile(const std::string& path, std::string_view bytes);

/// Makes the folder and the missing folders above it, with mode 0700. True when the folder exists afterwards.
bool makeDirectories(const std::string& path);

/// Removes the file. True when there is no such file afterwards.
bool removeFile(const std::string& path);

/// Removes the folder and its content. True when there is no such folder afterwards.
bool removeDirectory(const std::string& path);

/// Marks the file as one that backups leave out, by the attribute that `chattr +d` sets. Fails on file
/// systems that do not have the attribute.
std::error_code excludeFromBackup(const std::string& path);

/// Removes the temporary files of `writeFile` and `createFile` in that folder that are older than a minute:
/// processes that were killed left them behind.
void removeAbandonedTemporaries(const std::string& folder);

/// Whether there is a regular file of that name.
bool fileExists(const std::string& path);

/// A new file that only its user can read, for another program of that user; removed with this object. It
/// lies in the user's runtime folder (XDG_RUNTIME_DIR), or else in the folder of temporary files. Making one
/// also removes the files of this kind there that are older than an hour: processes that were killed left
/// them behind.
class PrivateFile {
public:
    explicit PrivateFile(std::string_view bytes, std::string_view suffix = ".html");
    ~PrivateFile();
    PrivateFile(const PrivateFile&) = delete;
    PrivateFile& operator=(const PrivateFile&) = delete;

    /// Empty when the file could not be made.
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

} // namespace kiv
