#include "Analytics/KIVSEGFileStorage.h"

#include <utility>

#include "Analytics/KIVSEGLog.h"
#include "Platform/Host/LibraryPath.h"
#include "Platform/System/Files.h"

KIVSEGFileStorage::KIVSEGFileStorage() : KIVSEGFileStorage(applicationSupportDirectoryURL(), nullptr) {}

KIVSEGFileStorage::KIVSEGFileStorage(std::string folder, std::shared_ptr<const KIVSEGCrypto> crypto)
    : KIVSEGStorage(std::move(crypto)), folder_(std::move(folder)) {
    createDirectoryIfNeeded();
    kiv::removeAbandonedTemporaries(folder_);
}

std::string KIVSEGFileStorage::applicationSupportDirectoryURL() {
    return kiv::libraryPath("/Application Support");
}

std::string KIVSEGFileStorage::urlForKey(std::string_view key) const { return kiv::pathIn(folder_, key); }

void KIVSEGFileStorage::removeKey(std::string_view key) {
    const std::string path = urlForKey(key);
    if (!kiv::removeFile(path)) {
        KIV_SEG_LOG("Unable to remove key %@ - error removing file at path %@", key, path);
    }
}

void KIVSEGFileStorage::resetAll() {
    if (!folder_.empty() && !kiv::removeDirectory(folder_)) {
        KIV_SEG_LOG("ERROR: Unable to reset file storage. Path cannot be removed - %@", folder_);
    }
    createDirectoryIfNeeded();
}

bool KIVSEGFileStorage::setData(std::string_view data, std::string_view key) {
    std::optional<std::string> encrypted;
    if (crypto()) {
        encrypted = crypto()->encrypt(data);
        if (!encrypted) {
            return false;
        }
        data = *encrypted;
    }
    const std::string path = urlForKey(key);
    if (!kiv::writeFile(path, data)) {
        KIV_SEG_LOG("Unable to write data for key %@ to %@", key, kiv::shownPath(path));
        return false;
    }
    if (const std::error_code failure = kiv::excludeFromBackup(path)) {
        KIV_SEG_LOG("Error excluding %@ from backup %@", key, failure.message());
    }
    return true;
}

std::optional<std::string> KIVSEGFileStorage::dataForKey(std::string_view key) const {
    const std::string path = urlForKey(key);
    std::optional<std::string> data = kiv::readFile(path, mostBytes);
    if (!data) {
        if (kiv::fileExists(path)) {
            KIV_SEG_LOG("Unable to read the data file for key %@, or it is too large: %@", key,
                        kiv::shownPath(path));
        } else {
            KIV_SEG_LOG("WARNING: No data file for key %@", key);
        }
        return std::nullopt;
    }
    return crypto() ? crypto()->decrypt(*data) : std::move(data);
}

void KIVSEGFileStorage::createDirectoryIfNeeded() const {
    if (!folder_.empty() && !kiv::makeDirectories(folder_)) {
        KIV_SEG_LOG("error: %@", kiv::format("no folder can be made at %@", folder_));
    }
}
