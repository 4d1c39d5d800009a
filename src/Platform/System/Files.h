#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

/// Small files, read and written whole. Nothing here throws; a failure is an empty result or false. An empty
/// path names no file: it is not read, and writing to it fails.
namespace kiv {

/// The content of a regular file of at most `maxBytes`; nothing when there is none, it is larger, or it
/// cannot be read.
std::optional<std::string> readFile(const std::string& path, std::size_t maxBytes = 64U << 20);

/// Writes the bytes to a new temporary beside the file, syncs it, renames it over the file and syncs the
/// folder. The file has mode 0600 and its folder is made (0700) when it is missing. On failure the old file
/// stays as it was and no temporary is left behind. Several threads and processes may write one file: the
/// last rename wins.
bool writeFile(const std::string& path, std::string_view bytes);

/// The same for a new file: false, too, when there is one of that name already, which stays as it was. Of
/// several threads and processes that make one file, the first wins.
bool createFile(const std::string& path, std::string_view bytes);

/// Makes the folder and all above it that are missing, mode 0700. True when it is there afterwards.
bool makeDirectories(const std::string& path);

/// True when the file is gone afterwards.
bool removeFile(const std::string& path);

/// Removes the folder and all in it. True when it is gone afterwards.
bool removeDirectory(const std::string& path);

/// Marks a file as one that backups leave out: the attribute that `chattr +d` sets. Not every file system has
/// it.
std::error_code excludeFromBackup(const std::string& path);

/// Removes the temporaries of that folder that a process left behind when it was killed: those older than a
/// minute.
void removeAbandonedTemporaries(const std::string& folder);

bool fileExists(const std::string& path);

/// A new file that its user alone can read, for other programs of that user to read at once; gone with this
/// object. It lies in the user's runtime folder (XDG_RUNTIME_DIR), or where temporaries do. Those that a
/// process left behind there when it was killed are removed: those older than an hour.
class PrivateFile {
public:
    explicit PrivateFile(std::string_view bytes, std::string_view suffix = ".html");
    ~PrivateFile();
    PrivateFile(const PrivateFile&) = delete;
    PrivateFile& operator=(const PrivateFile&) = delete;

    /// Empty when it could not be made.
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

} // namespace kiv
