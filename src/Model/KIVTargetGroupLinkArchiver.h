#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "Platform/Snapshots/Epoch.h"

/// The path of the archive below the Library folder.
inline constexpr const char* KIVC_TargetGroupLinks_Persistance_Path =
    "/Application Support/io.corvane/targetGroupLinks";

/// The identifiers of the target groups that this device was linked to, kept in a file. Callable from any
/// thread; look-ups take no lock and do not wait for the file.
class KIVTargetGroupLinkArchiver {
public:
    /// Reads the archive below the host's present Library folder. A missing or damaged archive counts as
    /// empty.
    KIVTargetGroupLinkArchiver();

    /// Adds the identifier, even when it is there already, and writes the archive before it returns. A
    /// failure to write is ignored; the link then holds in memory only.
    void addTargetGroupLinkPairing(std::string identifier);

    bool isTargetGroupLinkPairedWith(std::string_view identifier) const;

    /// Forgets all links and removes the archive.
    void clearTargetGroupLinks();

private:
    struct Links {
        explicit Links(std::vector<std::string> all);

        const std::vector<std::string> inOrder;
        const std::unordered_set<std::string_view> identifiers;
    };

    const std::string path_;
    std::mutex lock_; ///< held while the links and the file are changed
    kiv::Published<Links> links_;
};
