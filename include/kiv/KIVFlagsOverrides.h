#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <kiv/KIVExport.h>
#include <kiv/KIVNonnullString.h>

class KIVFeatureFlagsSetter;
class KIVString;

/// Values that a developer sets in place of the flags' own values, by full flag name. They are kept on disk
/// and hold for later processes too.
///
/// A change rewrites the file before the call returns; when the file cannot be written, the change holds in
/// memory and one line is logged. After another key's setup, ask `KIVCore::overrides` anew and release the
/// former object: it would write its own table over the file. Callable from any thread.
class KIV_API KIVFlagsOverrides {
public:
    /// For the library. Loads the stored overrides, and makes the folder when it is missing.
    explicit KIVFlagsOverrides(std::weak_ptr<KIVFeatureFlagsSetter> setter);
    ~KIVFlagsOverrides();
    KIVFlagsOverrides(const KIVFlagsOverrides&) = delete;
    KIVFlagsOverrides& operator=(const KIVFlagsOverrides&) = delete;

    bool hasOverride(KIVNonnullString name) const;
    std::optional<std::string> overrideForName(KIVNonnullString name) const;

    /// Thaws the flag and stores the value under the flag's name. Does nothing for a flag without a name.
    void setOverride(KIVNonnullString value, const KIVString& flag);
    /// Stores the value for the flag of that full name, registered or not, and thaws the flag.
    void setOverride(KIVNonnullString value, KIVNonnullString name);

    /// Removes the override of that flag and thaws the flag.
    void clearOverrideForName(KIVNonnullString name);

    /// Removes all values and their file. Flags are not thawed.
    void clearOverrides();

    /// The flag's value without overrides, freezing and impression.
    std::string originalValueForFeature(const KIVString& flag) const;

    /// All overrides by full flag name.
    std::map<std::string, std::string> overrides() const;

    /// Writes all overrides to the file. Returns false, and logs one line, when the write failed or an
    /// override could not be written: a name or value that is not UTF-8 or has a zero byte holds in memory
    /// only.
    bool cacheOverrides() const;

    /// For the library, in a child after a fork: takes the overrides of its parent's object and writes them,
    /// when they have changed since the fork.
    void takeOverFrom(const KIVFlagsOverrides& parents);

    /// The folder of the file; empty when the host has no Library folder, and overrides hold in memory only.
    std::string overridesFilesPath() const;
    /// The path of a file of that name in the folder; empty when there is no folder.
    std::string pathForOverridesFile(KIVNonnullString fileName = "overrides") const;

private:
    friend class KIVString;
    struct Store;

    /// Valid until the caller's `kiv::ReadGuard` closes; null when there is no override of that name.
    const std::string* find(std::string_view name) const;
    void thaw(KIVNonnullString name) const;
    bool isOfParent() const;

    std::weak_ptr<KIVFeatureFlagsSetter> setter_;
    /// Held while the file is written, so that the last write has every change. A fork does not wait for it:
    /// a child has no use for this object's file.
    mutable std::mutex writingLock_;
    std::unique_ptr<Store> store_;
};
