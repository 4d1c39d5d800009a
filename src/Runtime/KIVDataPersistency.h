#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Text/Json.h"

/// Version of a persisted record. A new major version breaks with old content, a new minor one converts it.
struct KIVFormatVersion {
    std::int32_t major = 0;
    std::int32_t minor = 0;
};

/// What every persisted record can do.
class KIVPersistedObject {
public:
    virtual ~KIVPersistedObject() = default;

    virtual KIVFormatVersion formatVersion() const = 0;
    virtual std::unique_ptr<KIVPersistedObject> copyWithUpgradeToCurrentFormatOnMinorNumberChange() const = 0;

    /// The record's archive, its keys as they stand in the file.
    virtual kiv::json::object encode() const = 0;
};

/// Makes the records of one kind.
class KIVPersistedObjectFactory {
public:
    virtual ~KIVPersistedObjectFactory() = default;

    virtual KIVFormatVersion formatVersion() const = 0;
    virtual std::unique_ptr<KIVPersistedObject> createDefaultDataPersistencyObject() const = 0;

    /// The record of an archive; null when the archive is not one of this kind.
    virtual std::unique_ptr<KIVPersistedObject> decode(const kiv::json::object& archive) const = 0;
};

/// The two version numbers as every record archives them.
void encodeFormatVersion(KIVFormatVersion version, kiv::json::object& archive);
std::optional<KIVFormatVersion> decodeFormatVersion(const kiv::json::object& archive);

/// The member as a 32-bit integer, saturated; nothing when it is absent or no number.
std::optional<std::int32_t> decodeInteger32(const kiv::json::object& archive, std::string_view key);

/// Keeps records in files of their own, "/Application Support/Persistency/<name>" below the Library folder.
class KIVDataPersistency {
public:
    /// Below the host's Library folder as it is now. Without one nothing is stored.
    KIVDataPersistency();

    /// The stored record; a default one when there is none, it is damaged, or its major version is older; an
    /// upgraded copy when only its minor version is older. A newer one is accepted as it is. Never null.
    std::unique_ptr<KIVPersistedObject>
    loadObjectFromFileWithName(const std::string& name,
                               const KIVPersistedObjectFactory& defaultObjectsFactory) const;

    /// Replaces the file. A failure is logged and leaves the old file.
    bool saveObject(const KIVPersistedObject& object, const std::string& fileName) const;

    /// The two halves of that, for those who write under a lock: the log is the application's.
    bool writeObject(const KIVPersistedObject& object, const std::string& fileName) const;
    void logFailure(const std::string& fileName) const;

    std::string filePathFromFileName(const std::string& fileName) const;

private:
    std::string directory_;
};
