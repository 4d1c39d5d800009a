#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Analytics/KIVSEGStorage.h"

/// A storage with one file for each key, named after the key: the bytes as they were set, or a property list
/// in XML; encrypted when the storage has a `crypto`. Files are marked so that backups leave them out. A file
/// of more than `mostBytes` is not read. Without a folder nothing is stored.
class KIVSEGFileStorage : public KIVSEGStorage {
public:
    static constexpr std::size_t mostBytes = 32U << 20;

    /// Stores in the application-support directory itself, without encryption.
    KIVSEGFileStorage();
    /// `folder` is a path; empty for none. Makes the folder when it is missing, and removes the temporaries
    /// that killed processes left there.
    KIVSEGFileStorage(std::string folder, std::shared_ptr<const KIVSEGCrypto> crypto);

    /// A path below the host's Library folder as it is now; empty when there is none.
    static std::string applicationSupportDirectoryURL();

    const std::string& folderURL() const { return folder_; }
    /// The path of the key's file.
    std::string urlForKey(std::string_view key) const;

    void removeKey(std::string_view key) override;
    /// Removes the folder with all in it, and makes it again.
    void resetAll() override;
    bool setData(std::string_view data, std::string_view key) override;
    std::optional<std::string> dataForKey(std::string_view key) const override;

private:
    void createDirectoryIfNeeded() const;

    const std::string folder_;
};
