#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "Platform/Snapshots/Epoch.h"

/// Below the Library folder.
inline constexpr const char* KIVC_TargetGroupLinks_Persistance_Path =
    "/Application Support/io.corvane/targetGroupLinks";

/// The identifiers of the target groups that this device was linked to; they outlive the process. Callable
/// from any thread; asking takes no lock and does not wait for a file.
class KIVTargetGroupLinkArchiver {
public:
    /// Reads the archive below the host's Library folder as it is now; a missing or damaged one is empty.
    KIVTargetGroupLinkArchiver();

    /// Adds the identifier, another time if it is there already, and writes the archive before it returns. A
    /// failure to write is ignored: the link then holds in memory only.
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
    std::mutex lock_; ///< for those who change the links and their file
    kiv::Published<Links> links_;
};
