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

/// Values that a developer puts in place of flags' own, by full flag name. They outlive the process.
///
/// Changing one rewrites its file before the call returns; when the file cannot be written the change holds
/// in memory and one line is logged. Those of a client that another key's setup has replaced are to be let go
/// of: they would write their own table over the file. Callable from any thread.
class KIV_API KIVFlagsOverrides {
public:
    /// For the library. Loads what is stored; makes the folder when it is missing.
    explicit KIVFlagsOverrides(std::weak_ptr<KIVFeatureFlagsSetter> setter);
    ~KIVFlagsOverrides();
    KIVFlagsOverrides(const KIVFlagsOverrides&) = delete;
    KIVFlagsOverrides& operator=(const KIVFlagsOverrides&) = delete;

    bool hasOverride(KIVNonnullString name) const;
    std::optional<std::string> overrideForName(KIVNonnullString name) const;

    /// Thaws the flag and stores the value under the flag's name. A flag without a name is left alone.
    void setOverride(KIVNonnullString value, const KIVString& flag);
    /// The same for the flag of that name, registered or not.
    void setOverride(KIVNonnullString value, KIVNonnullString name);

    /// Removes the value and thaws the flag.
    void clearOverrideForName(KIVNonnullString name);

    /// Removes all values and their file. Flags are not thawed.
    void clearOverrides();

    /// The flag's value without overrides, freezing and impression.
    std::string originalValueForFeature(const KIVString& flag) const;

    /// All overrides by full flag name.
    std::map<std::string, std::string> overrides() const;

    /// Writes all values to the file. False, and one line in the log, when that failed, or some could not go
    /// there: a name or value that is not UTF-8 or has a zero byte holds in memory only.
    bool cacheOverrides() const;

    /// The folder; empty when the host has no Library folder, and values hold in memory only.
    std::string overridesFilesPath() const;
    /// The path of a file of that name in the folder; empty without one.
    std::string pathForOverridesFile(KIVNonnullString fileName = "overrides") const;

private:
    struct Store;

    void thaw(KIVNonnullString name) const;

    std::weak_ptr<KIVFeatureFlagsSetter> setter_;
    mutable std::mutex lock_; ///< the file's last write holds all changes made before it
    std::unique_ptr<Store> store_;
};
