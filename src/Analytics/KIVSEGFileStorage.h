#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Analytics/KIVSEGStorage.h"

/// A storage of one file for each key, of the key's name: a property list in XML, or its encrypted bytes.
/// Each file is marked as not to be backed up. A file of more than `mostBytes` cannot be read. Without a
/// folder nothing is kept.
class KIVSEGFileStorage : public KIVSEGStorage {
public:
    static constexpr std::size_t mostBytes = 32U << 20;

    /// In the application-support directory itself, without encryption.
    KIVSEGFileStorage();
    /// Makes the folder when it is missing, and clears it of what killed processes left half written.
    /// `folder` is a path, empty for none.
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
