#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

/// A new folder, which the destructor removes.
class TemporaryFolder {
public:
    TemporaryFolder() {
        if (!mkdtemp(path_.data())) {
            throw std::runtime_error("no temporary folder");
        }
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_ = (std::filesystem::temp_directory_path() / "kiv-XXXXXX").string();
};
