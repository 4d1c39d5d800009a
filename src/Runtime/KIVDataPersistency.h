#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Text/Json.h"

/// Version of a record's format. A record of an older major version is dropped, one of an older minor version
/// is converted.
struct KIVFormatVersion {
    std::int32_t major = 0;
    std::int32_t minor = 0;
};

/// A record that `KIVDataPersistency` keeps in a file.
class KIVPersistedObject {
public:
    virtual ~KIVPersistedObject() = default;

    virtual KIVFormatVersion formatVersion() const = 0;
    virtual std::unique_ptr<KIVPersistedObject> copyWithUpgradeToCurrentFormatOnMinorNumberChange() const = 0;

    /// The record as the members of its file.
    virtual kiv::json::object encode() const = 0;
};

/// Makes the records of one class.
class KIVPersistedObjectFactory {
public:
    virtual ~KIVPersistedObjectFactory() = default;

    virtual KIVFormatVersion formatVersion() const = 0;
    virtual std::unique_ptr<KIVPersistedObject> createDefaultDataPersistencyObject() const = 0;

    /// The record of an archive; null when the archive does not hold a record of this class.
    virtual std::unique_ptr<KIVPersistedObject> decode(kiv::json::object archive) const = 0;
};

/// Puts the version into a record's archive under the two keys that all records share, and reads it from
/// there.
void encodeFormatVersion(KIVFormatVersion version, kiv::json::object& archive);
std::optional<KIVFormatVersion> decodeFormatVersion(const kiv::json::object& archive);

/// The member as an integer, held within 32 bits; nothing when it is absent or is not an integer.
std::optional<std::int32_t> decodeInteger32(const kiv::json::object& archive, std::string_view key);

/// Keeps records in files of their own, "/Application Support/Persistency/<name>" below the Library folder.
class KIVDataPersistency {
public:
    /// Takes the host's present Library folder. When the host has none, nothing is read and every write
    /// fails.
    KIVDataPersistency();

    /// The stored record, also one of a newer version; an upgraded copy when its minor version is older; a
    /// default record when there is no file, the file is damaged, or its major version is older. Never null.
    std::unique_ptr<KIVPersistedObject>
    loadObjectFromFileWithName(const std::string& name,
                               const KIVPersistedObjectFactory& defaultObjectsFactory) const;

    /// Replaces the file and returns whether that succeeded. A failure is logged and leaves the old file.
    bool saveObject(const KIVPersistedObject& object, const std::string& fileName) const;

    /// `saveObject` in two steps, for callers that hold a lock while they write: the log sink is a callback
    /// of the application, so call `logFailure` after the lock is released.
    bool writeObject(const KIVPersistedObject& object, const std::string& fileName) const;
    void logFailure(const std::string& fileName) const;

    std::string filePathFromFileName(const std::string& fileName) const;

private:
    std::string directory_;
};
