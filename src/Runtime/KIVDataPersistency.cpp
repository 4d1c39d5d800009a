#include "Runtime/KIVDataPersistency.h"

#include <limits>
#include <utility>

#include "Platform/Host/LibraryPath.h"
#include "Platform/PropertyLists/PropertyList.h"
#include "Runtime/Failure.h"
#include "Runtime/KIVDebugger.h"

namespace {
constexpr const char* majorKey = "formatVersion_majorNumber";
constexpr const char* minorKey = "formatVersion_minorNumber";
} // namespace

void encodeFormatVersion(KIVFormatVersion version, kiv::json::object& archive) {
    archive[majorKey] = version.major;
    archive[minorKey] = version.minor;
}

std::optional<KIVFormatVersion> decodeFormatVersion(const kiv::json::object& archive) {
    const auto major = decodeInteger32(archive, majorKey);
    const auto minor = decodeInteger32(archive, minorKey);
    if (!major || !minor) {
        return std::nullopt;
    }
    return KIVFormatVersion{*major, *minor};
}

std::optional<std::int32_t> decodeInteger32(const kiv::json::object& archive, std::string_view key) {
    const kiv::json::value* value = archive.if_contains(key);
    if (!value || !value->is_int64()) {
        return std::nullopt;
    }
    using Limits = std::numeric_limits<std::int32_t>;
    const std::int64_t number = value->get_int64();
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(number, Limits::min(), Limits::max()));
}

KIVDataPersistency::KIVDataPersistency() : directory_(kiv::libraryPath("/Application Support/Persistency")) {}

std::string KIVDataPersistency::filePathFromFileName(const std::string& fileName) const {
    return kiv::pathIn(directory_, fileName);
}

std::unique_ptr<KIVPersistedObject>
KIVDataPersistency::loadObjectFromFileWithName(const std::string& name,
                                               const KIVPersistedObjectFactory& defaultObjectsFactory) const {
    auto archive = kiv::readPropertyList(filePathFromFileName(name));
    auto stored = archive ? defaultObjectsFactory.decode(std::move(*archive)) : nullptr;
    if (!stored) {
        return defaultObjectsFactory.createDefaultDataPersistencyObject();
    }
    const KIVFormatVersion own = defaultObjectsFactory.formatVersion();
    const KIVFormatVersion theirs = stored->formatVersion();
    if (theirs.major < own.major) {
        return defaultObjectsFactory.createDefaultDataPersistencyObject();
    }
    if (theirs.minor < own.minor) {
        return stored->copyWithUpgradeToCurrentFormatOnMinorNumberChange();
    }
    return stored;
}

bool KIVDataPersistency::saveObject(const KIVPersistedObject& object, const std::string& fileName) const {
    const bool saved = writeObject(object, fileName);
    if (!saved) {
        logFailure(fileName);
    }
    return saved;
}

bool KIVDataPersistency::writeObject(const KIVPersistedObject& object, const std::string& fileName) const {
    bool isWritten = false;
    // Without memory the object is not written either; whoever saves it goes on.
    kiv::failureOf(
        [&] { isWritten = kiv::writePropertyList(filePathFromFileName(fileName), object.encode()); });
    return isWritten;
}

void KIVDataPersistency::logFailure(const std::string& fileName) const {
    KIV_DEBUG_LOG("could not write %@", kiv::shownPath(filePathFromFileName(fileName)));
}
