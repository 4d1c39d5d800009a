#pragma once

#include <cstdint>
#include <memory>

#include "Model/KIVConfigurationDataResult.h"
#include "Runtime/KIVDataPersistency.h"

inline constexpr const char* KIVDataPersistency_fileName_KIVClientConfigurationLoadingData =
    "KIVClientConfigurationLoadingData";
inline constexpr KIVFormatVersion KIVClientConfigurationLoadingData_currentFormatVersion{1, 0};

/// The record of a client's fetches on disk: the envelope that was fetched last, and how patient the next
/// start is (0, 1 or 2). Immutable.
class KIVClientConfigurationLoadingData : public KIVPersistedObject {
public:
    using Document = KIVConfigurationDataResult::Document;

    /// A default record has type 0 and no configuration.
    explicit KIVClientConfigurationLoadingData(
        std::int32_t nextStartLoadingType = 0, Document productionConfiguration = nullptr,
        KIVFormatVersion formatVersion = KIVClientConfigurationLoadingData_currentFormatVersion);

    std::int32_t nextStartLoadingType() const { return nextStartLoadingType_; }
    /// An envelope, or null.
    const Document& productionConfiguration() const { return productionConfiguration_; }

    KIVFormatVersion formatVersion() const override { return formatVersion_; }
    /// A default record, because the content of an older minor version is not kept.
    std::unique_ptr<KIVPersistedObject> copyWithUpgradeToCurrentFormatOnMinorNumberChange() const override;
    kiv::json::object encode() const override;

private:
    std::int32_t nextStartLoadingType_;
    Document productionConfiguration_;
    KIVFormatVersion formatVersion_;
};

/// Makes the records.
class KIVClientConfigurationLoadingDataFactory : public KIVPersistedObjectFactory {
public:
    KIVFormatVersion formatVersion() const override {
        return KIVClientConfigurationLoadingData_currentFormatVersion;
    }
    std::unique_ptr<KIVPersistedObject> createDefaultDataPersistencyObject() const override;
    std::unique_ptr<KIVPersistedObject> decode(kiv::json::object archive) const override;
};
