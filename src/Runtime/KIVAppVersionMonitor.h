#pragma once

#include <optional>
#include <string>

#include "Runtime/KIVDataPersistency.h"

inline constexpr const char* KIVDataPersistency_fileName_KIVAppVersionMonitorData =
    "KIVAppVersionMonitorData";

/// The record of the application's version at its last launch.
class KIVAppVersionMonitorData : public KIVPersistedObject {
public:
    explicit KIVAppVersionMonitorData(std::optional<std::string> bundleShortVersion = std::nullopt,
                                      KIVFormatVersion version = {0, 0});

    const std::optional<std::string>& bundleShortVersion() const { return bundleShortVersion_; }

    KIVFormatVersion formatVersion() const override { return formatVersion_; }
    std::unique_ptr<KIVPersistedObject> copyWithUpgradeToCurrentFormatOnMinorNumberChange() const override;
    kiv::json::object encode() const override;

private:
    KIVFormatVersion formatVersion_;
    std::optional<std::string> bundleShortVersion_;
};

/// Tells whether the application's version has changed since the previous launch, and records the present
/// one.
class KIVAppVersionMonitor {
public:
    explicit KIVAppVersionMonitor(const KIVDataPersistency& dataPersistency);

    /// The version recorded at the previous launch differs from the current one.
    bool isNewVersion() const { return isNewVersion_; }

private:
    bool isNewVersion_ = false;
};
