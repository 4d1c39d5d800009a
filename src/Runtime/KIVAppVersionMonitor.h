#pragma once

#include <optional>
#include <string>

#include "Runtime/KIVDataPersistency.h"

inline constexpr const char* KIVDataPersistency_fileName_KIVAppVersionMonitorData =
    "KIVAppVersionMonitorData";
inline constexpr KIVFormatVersion KIVAppVersionMonitorData_currentFormatVersion{0, 0};

/// The record of the application's version at its last launch.
class KIVAppVersionMonitorData : public KIVPersistedObject {
public:
    explicit KIVAppVersionMonitorData(
        std::optional<std::string> bundleShortVersion = std::nullopt,
        KIVFormatVersion version = KIVAppVersionMonitorData_currentFormatVersion);

    /// Nothing when the application had no version.
    const std::optional<std::string>& bundleShortVersion() const { return bundleShortVersion_; }

    KIVFormatVersion formatVersion() const override { return formatVersion_; }
    std::unique_ptr<KIVPersistedObject> copyWithUpgradeToCurrentFormatOnMinorNumberChange() const override;
    kiv::json::object encode() const override;

private:
    KIVFormatVersion formatVersion_;
    std::optional<std::string> bundleShortVersion_;
};

/// Tells whether the application's version has changed since the previous launch.
class KIVAppVersionMonitor {
public:
    /// Compares the host's short version with the record of the previous launch. Replaces a differing record.
    explicit KIVAppVersionMonitor(const KIVDataPersistency& dataPersistency);

    /// Whether the recorded version differed from the current one. No record counts as no version.
    bool isNewVersion() const { return isNewVersion_; }

private:
    bool isNewVersion_ = false;
};
