#include "CorvaneClient/KIVClientConfigurationLoadingData.h"

#include <utility>

namespace {
constexpr const char* nextStartLoadingTypeKey = "nextStartLoadingType";
constexpr const char* productionConfigurationKey = "productionConfiguration";
} // namespace

KIVClientConfigurationLoadingData::KIVClientConfigurationLoadingData(std::int32_t nextStartLoadingType,
                                                                     Document productionConfiguration,
                                                                     KIVFormatVersion formatVersion)
    : nextStartLoadingType_(nextStartLoadingType),
      productionConfiguration_(std::move(productionConfiguration)), formatVersion_(formatVersion) {}

std::unique_ptr<KIVPersistedObject>
KIVClientConfigurationLoadingData::copyWithUpgradeToCurrentFormatOnMinorNumberChange() const {
    return std::make_unique<KIVClientConfigurationLoadingData>();
}

kiv::json::object KIVClientConfigurationLoadingData::encode() const {
    kiv::json::object archive;
    encodeFormatVersion(formatVersion_, archive);
    archive[nextStartLoadingTypeKey] = nextStartLoadingType_;
    if (productionConfiguration_) {
        archive[productionConfigurationKey] = *productionConfiguration_;
    }
    return archive;
}

std::unique_ptr<KIVPersistedObject>
KIVClientConfigurationLoadingDataFactory::createDefaultDataPersistencyObject() const {
    return std::make_unique<KIVClientConfigurationLoadingData>();
}

std::unique_ptr<KIVPersistedObject>
KIVClientConfigurationLoadingDataFactory::decode(kiv::json::object archive) const {
    const auto version = decodeFormatVersion(archive);
    if (!version) {
        return nullptr;
    }
    auto* configuration = archive.if_contains(productionConfigurationKey);
    return std::make_unique<KIVClientConfigurationLoadingData>(
        decodeInteger32(archive, nextStartLoadingTypeKey).value_or(0),
        configuration && configuration->is_object()
            ? std::make_shared<const kiv::json::value>(std::move(*configuration))
            : nullptr,
        *version);
}
