#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "CorvaneClient/KIVClientConfigurationLoadingData.h"

class KIVAppVersionMonitor;

/// The two configuration documents that are available without a network: the document fetched last, kept in a
/// record on disk, and the default document that the application ships. Callable from any thread.
class KIVClientConfigurationLoadingDataManager {
public:
    using Document = KIVConfigurationDataResult::Document;

    /// Reads the record, and the default document: the file "<appKey>.json" of the host's resource folder, or
    /// else the file at `defaultConfigurationPath`. A default document that is missing, empty, larger than 64
    /// MiB or no JSON object counts as absent, and a debug line says why. `appVersionMonitor` may be null.
    KIVClientConfigurationLoadingDataManager(const KIVDataPersistency& dataPersistency,
                                             std::shared_ptr<const KIVAppVersionMonitor> appVersionMonitor,
                                             const std::optional<std::string>& defaultConfigurationPath,
                                             std::string appKey);

    const std::string& appKey() const { return appKey_; }
    const std::shared_ptr<const KIVAppVersionMonitor>& appVersionMonitor() const {
        return appVersionMonitor_;
    }
    static std::string fileName() { return KIVDataPersistency_fileName_KIVClientConfigurationLoadingData; }

    std::int32_t nextStartLoadingType() const;
    /// Stores the type and writes the record before it returns.
    void setNextStartLoadingType(std::int32_t type);

    /// The stored envelope, or null.
    Document productionConfiguration() const;
    /// Stores the envelope and writes the record before it returns.
    void setProductionConfiguration(Document configuration);

    /// The default envelope, or null.
    Document defaultConfiguration() const;
    void setDefaultConfiguration(Document configuration);

    /// Writes the record before it returns; waits while another thread is writing it. A failure is logged.
    void save();

private:
    KIVClientConfigurationLoadingData record() const;

    const KIVDataPersistency dataPersistency_;
    const std::shared_ptr<const KIVAppVersionMonitor> appVersionMonitor_;
    const std::string appKey_;
    /// Held while the file is written, and never while a callback runs. A fork does not wait for the disk: a
    /// child makes a manager of its own.
    std::mutex writingLock_;
    mutable std::mutex lock_; ///< for the fields below; not held while a file is written
    std::int32_t nextStartLoadingType_ = 0;
    Document productionConfiguration_;
    Document defaultConfiguration_;
};
