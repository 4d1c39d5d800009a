#include "Runtime/KIVAppVersionMonitor.h"

#include <kiv/KIVHost.h>

namespace {

constexpr const char* bundleShortVersionKey = "bundleShortVersion";

class Factory : public KIVPersistedObjectFactory {
public:
    KIVFormatVersion formatVersion() const override { return KIVAppVersionMonitorData_currentFormatVersion; }

    std::unique_ptr<KIVPersistedObject> createDefaultDataPersistencyObject() const override {
        return std::make_unique<KIVAppVersionMonitorData>();
    }

    std::unique_ptr<KIVPersistedObject> decode(kiv::json::object archive) const override {
        const auto version = decodeFormatVersion(archive);
        if (!version) {
            return nullptr;
        }
        const auto* text = kiv::textMember(archive, bundleShortVersionKey);
        return std::make_unique<KIVAppVersionMonitorData>(
            text ? std::optional<std::string>(*text) : std::nullopt, *version);
    }
};

} // namespace

KIVAppVersionMonitorData::KIVAppVersionMonitorData(std::optional<std::string> bundleShortVersion,
                                                   KIVFormatVersion version)
    : formatVersion_(version), bundleShortVersion_(std::move(bundleShortVersion)) {}

std::unique_ptr<KIVPersistedObject>
KIVAppVersionMonitorData::copyWithUpgradeToCurrentFormatOnMinorNumberChange() const {
    return std::make_unique<KIVAppVersionMonitorData>(bundleShortVersion_);
}

kiv::json::object KIVAppVersionMonitorData::encode() const {
    kiv::json::object archive;
    encodeFormatVersion(formatVersion_, archive);
    if (bundleShortVersion_) {
        archive[bundleShortVersionKey] = *bundleShortVersion_;
    }
    return archive;
}

KIVAppVersionMonitor::KIVAppVersionMonitor(const KIVDataPersistency& dataPersistency) {
    const auto loaded = dataPersistency.loadObjectFromFileWithName(
        KIVDataPersistency_fileName_KIVAppVersionMonitorData, Factory());
    const auto& stored = static_cast<const KIVAppVersionMonitorData&>(*loaded);
    const std::optional<std::string> current = KIVHost::current()->shortVersion;
    isNewVersion_ = stored.bundleShortVersion() != current;
    if (isNewVersion_) {
        dataPersistency.saveObject(KIVAppVersionMonitorData(current),
                                   KIVDataPersistency_fileName_KIVAppVersionMonitorData);
    }
}
