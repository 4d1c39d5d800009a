#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include <kiv/KIVHost.h>

/// The Library folder of a target that keeps files. Each process has its own; it is removed when the process
/// ends of itself.
class FuzzFolder {
public:
    /// Makes the folder at the first call, and configures the host with it.
    static const std::string& path() {
        static const FuzzFolder folder;
        return folder.path_;
    }

    /// Removes what is in the folder.
    static void clear() {
        for (const auto& entry : std::filesystem::directory_iterator(path())) {
            std::filesystem::remove_all(entry);
        }
    }

private:
    FuzzFolder() {
        if (!mkdtemp(path_.data())) {
            std::abort();
        }
        KIVHost host;
        host.libraryDirectory = path_;
        KIVHost::configure(std::move(host));
    }
    ~FuzzFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    std::string path_ = (std::filesystem::temp_directory_path() / "kiv-fuzz-XXXXXX").string();
};

// These stand before those of the C library. Nothing here outlives the process, and a sync takes longer than
// the rest of an input.
extern "C" int fsync(int) { return 0; }
extern "C" int fdatasync(int) { return 0; }
