#include "CorvaneClient/KIVClientConfigurationLoadingDataManager.h"

#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>

#include <kiv/KIVHost.h>

#include "Platform/System/Files.h"
#include "Platform/Text/Json.h"
#include "Platform/Threads/Fork.h"
#include "Runtime/KIVDebugger.h"

namespace {

using Document = KIVConfigurationDataResult::Document;

constexpr std::uintmax_t maxDefaultConfigurationBytes = 64U << 20;

/// Whether the file exists and is not too large.
bool isCandidate(const std::string& path) {
    std::error_code failure;
    const std::uintmax_t size = std::filesystem::file_size(path, failure);
    if (failure) {
        KIV_DEBUG_LOG("default configuration %@: %@", path,
                      failure == std::errc::no_such_file_or_directory ? "missing" : failure.message());
        return false;
    }
    if (size > maxDefaultConfigurationBytes) {
        KIV_DEBUG_LOG("default configuration %@: larger than 64 MiB (%@ bytes)", path, size);
        return false;
    }
    return true;
}

/// Null, with a debug line, when the file holds no document.
Document readDocument(const std::string& path) {
    const auto text = kiv::readFile(path, maxDefaultConfigurationBytes);
    if (!text || text->empty()) {
        KIV_DEBUG_LOG("default configuration %@: %@", path, text ? "empty" : "cannot be read");
        return nullptr;
    }
    std::string error;
    auto document = kiv::parseJson(*text, &error);
    if (!document) {
        KIV_DEBUG_LOG("default configuration %@: not JSON (%@)", path, error);
        return nullptr;
    }
    if (!document->is_object()) {
        KIV_DEBUG_LOG("default configuration %@: not a JSON object", path);
        return nullptr;
    }
    return std::make_shared<const kiv::json::value>(std::move(*document));
}

Document readDefaultConfiguration(const std::string& appKey, const std::optional<std::string>& path) {
    const auto resources = KIVHost::current()->resourceDirectory;
    if (resources) {
        const std::string resource = *resources + "/" + appKey + ".json";
        // An application need not ship this file, so a missing one is not logged.
        if (kiv::fileExists(resource) && isCandidate(resource)) {
            return readDocument(resource);
        }
    }
    return path && isCandidate(*path) ? readDocument(*path) : nullptr;
}

} // namespace

KIVClientConfigurationLoadingDataManager::KIVClientConfigurationLoadingDataManager(
    const KIVDataPersistency& dataPersistency, std::shared_ptr<const KIVAppVersionMonitor> appVersionMonitor,
    const std::optional<std::string>& defaultConfigurationPath, std::string appKey)
    : dataPersistency_(dataPersistency), appVersionMonitor_(std::move(appVersionMonitor)),
      appKey_(std::move(appKey)),
      defaultConfiguration_(readDefaultConfiguration(appKey_, defaultConfigurationPath)) {
    const auto loaded =
        dataPersistency_.loadObjectFromFileWithName(fileName(), KIVClientConfigurationLoadingDataFactory());
    const auto& record = static_cast<const KIVClientConfigurationLoadingData&>(*loaded);
    nextStartLoadingType_ = record.nextStartLoadingType();
    productionConfiguration_ = record.productionConfiguration();
}

std::int32_t KIVClientConfigurationLoadingDataManager::nextStartLoadingType() const {
    const kiv::Lock lock(lock_);
    return nextStartLoadingType_;
}

void KIVClientConfigurationLoadingDataManager::setNextStartLoadingType(std::int32_t type) {
    {
        const kiv::Lock lock(lock_);
        nextStartLoadingType_ = type;
    }
    save();
}

Document KIVClientConfigurationLoadingDataManager::productionConfiguration() const {
    const kiv::Lock lock(lock_);
    return productionConfiguration_;
}

void KIVClientConfigurationLoadingDataManager::setProductionConfiguration(Document configuration) {
    {
        const kiv::Lock lock(lock_);
        productionConfiguration_ = std::move(configuration);
    }
    save();
}

Document KIVClientConfigurationLoadingDataManager::defaultConfiguration() const {
    const kiv::Lock lock(lock_);
    return defaultConfiguration_;
}

void KIVClientConfigurationLoadingDataManager::setDefaultConfiguration(Document configuration) {
    const kiv::Lock lock(lock_);
    defaultConfiguration_ = std::move(configuration);
}

KIVClientConfigurationLoadingData KIVClientConfigurationLoadingDataManager::record() const {
    const kiv::Lock lock(lock_);
    return KIVClientConfigurationLoadingData(nextStartLoadingType_, productionConfiguration_);
}

void KIVClientConfigurationLoadingDataManager::save() {
    bool written = false;
    {
        // A thread that has waited for this lock writes the newest values, not those of its own call.
        const std::lock_guard writing(writingLock_);
        written = dataPersistency_.writeObject(record(), fileName());
    }
    if (!written) {
        dataPersistency_.logFailure(fileName());
    }
}
