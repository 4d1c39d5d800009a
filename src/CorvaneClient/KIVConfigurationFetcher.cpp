#include "CorvaneClient/KIVConfigurationFetcher.h"

#include <utility>

#include "Model/KIVJSONKeys.h"
#include "Platform/Dates.h"
#include "Platform/UserDefaults.h"
#include "Runtime/KIVDebugger.h"

KIVConfigurationFetcher::KIVConfigurationFetcher(
    std::shared_ptr<const KIVNetwork> network, int fetcherType,
    std::shared_ptr<KIVClientConfigurationLoadingDataManager> configurationLoadingDataManager)
    : network_(std::move(network)), fetcherType_(fetcherType),
      configurationLoadingDataManager_(std::move(configurationLoadingDataManager)) {}

void KIVConfigurationFetcher::fetchConfiguration(bool /*storeOnly*/,
                                                 const std::optional<std::string>& /*fetchSource*/,
                                                 const Completion& completionHandler) {
    KIV_DEBUG_LOG("KIVConfigurationFetcher: fetchConfiguration starting with SDK key from UserDefaults: %@",
                  kiv::UserDefaults::standard().string("KIV_CURRENT_SDK_KEY").value_or("(null)"));
    if (!notFirstTimeLoading_.exchange(true)) {
        const auto cached = cachedConfiguration();
        if (cached && cached->configuration) {
            completionHandler(*cached, KIVConfigurationSource::store);
        }
    }
}

std::optional<KIVConfigurationDataResult> KIVConfigurationFetcher::cachedConfiguration() const {
    if (fetcherType_ != productionType) {
        return std::nullopt;
    }
    auto chosen = cachedConfigurationByDate(configurationLoadingDataManager_->productionConfiguration(),
                                            configurationLoadingDataManager_->defaultConfiguration());
    if (!chosen.configuration) {
        return chosen;
    }
    KIVNetworkError error = KIVNetworkError::none;
    auto payload = network_->extractInnerJson(*chosen.configuration, "cached", &error);
    if (!payload) {
        return KIVConfigurationDataResult(nullptr, KIVFetcherStatus::error, chosen.configurationDate,
                                          KIVNetwork::networkErrorString(error));
    }
    return KIVConfigurationDataResult(std::move(payload), chosen.fetcherStatus, chosen.configurationDate);
}

KIVConfigurationDataResult KIVConfigurationFetcher::cachedConfigurationByDate(Document stored,
                                                                              Document embedded) {
    const auto storedDate = signedDateFromConfiguration(stored);
    const auto embeddedDate = signedDateFromConfiguration(embedded);
    // No date is earlier than any date.
    if (stored && (!embedded || storedDate > embeddedDate)) {
        return {std::move(stored), KIVFetcherStatus::stored, storedDate};
    }
    return {std::move(embedded), KIVFetcherStatus::embedded, embeddedDate};
}

std::optional<KIVDate> KIVConfigurationFetcher::signedDateFromConfiguration(const Document& envelope) {
    const auto* text = envelope ? kiv::textMember(*envelope, KIVC_JSON_data_signedDate) : nullptr;
    return text ? kiv::parseDate(*text) : std::nullopt;
}

void KIVConfigurationFetcher::iterateNextStartLoadingState() {
    const auto type = configurationLoadingDataManager_->nextStartLoadingType();
    configurationLoadingDataManager_->setNextStartLoadingType(type == 0 || type == 1 ? type + 1 : 0);
}

double KIVConfigurationFetcher::timeIntervalForCurrentNextStartLoadingType() const {
    switch (configurationLoadingDataManager_->nextStartLoadingType()) {
    case 1:
        return 2.0;
    case 2:
        return 8.0;
    default:
        return 0.0;
    }
}
