#include "CorvaneClient/KIVConfigurationFetcher.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <utility>

#include "Flags/KIVFeatureFlagsSetter.h"
#include "Model/KIVJSONKeys.h"
#include "Model/StoredKey.h"
#include "Platform/System/Clock.h"
#include "Platform/Text/Dates.h"
#include "Platform/Text/Text.h"
#include "Platform/Threads/Fork.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Runtime/Failure.h"
#include "Runtime/KIVDebugger.h"

namespace {

/// In seconds, about a hundred years. Longer throttling times are cut to this, so that adding them to a date
/// does not overflow.
constexpr std::int64_t longestThrottle = 3'000'000'000;

std::string_view keyOf(const kiv::json::object& properties) {
    const auto* key = kiv::textMember(properties, KIVC_DEVICE_PROPERTIES_APP_KEY);
    return key ? std::string_view(*key) : std::string_view("(null)");
}

bool isDummy(const kiv::json::value& payload) {
    const kiv::json::value* dummy = kiv::member(payload, KIVC_JSON_dummy);
    return dummy && kiv::equalJson(*dummy, kiv::json::value(true));
}

KIVConfigurationDataResult failureResult(KIVNetworkError error) {
    return {nullptr, KIVFetcherStatus::error, std::nullopt, KIVNetwork::networkErrorString(error)};
}

} // namespace

KIVConfigurationFetcher::KIVConfigurationFetcher(
    std::shared_ptr<const KIVNetwork> network, int fetcherType,
    std::shared_ptr<KIVClientConfigurationLoadingDataManager> configurationLoadingDataManager,
    std::shared_ptr<const KIVURLBuilder> urlBuilder,
    std::shared_ptr<const KIVDeviceProperties> deviceProperties,
    std::shared_ptr<const KIVFeatureFlagsSetter> featureFlagSetter)
    : network_(std::move(network)), fetcherType_(fetcherType),
      configurationLoadingDataManager_(std::move(configurationLoadingDataManager)),
      urlBuidler_(std::move(urlBuilder)), deviceProperties_(std::move(deviceProperties)),
      featureFlagSetter_(std::move(featureFlagSetter)) {}

void KIVConfigurationFetcher::fetchConfiguration(bool storeOnly,
                                                 const std::optional<std::string>& fetchSource,
                                                 Completion completionHandler) {
    KIV_DEBUG_LOG("KIVConfigurationFetcher: fetchConfiguration starting with SDK key from UserDefaults: %@",
                  kiv::storedSDKKey().value_or("(null)"));
    KIV_DEBUG_LOG("url: %@", urlBuidler_->getNetworkCacheURL(*deviceProperties_->allProperties()));
    if (!notFirstTimeLoading_.exchange(true)) {
        const auto cached = cachedConfiguration();
        if (cached && cached->configuration) {
            completionHandler(*cached, KIVConfigurationSource::store);
        }
    }
    if (storeOnly) {
        return;
    }
    if (fetchSource) {
        startAfterOtherPushes(*fetchSource, std::move(completionHandler));
    } else {
        start(fetchSource, std::move(completionHandler));
    }
}

/// A service may announce many changes at once. A fetch that waits to start brings them all.
void KIVConfigurationFetcher::startAfterOtherPushes(const std::string& fetchSource,
                                                    Completion completionHandler) {
    constexpr std::chrono::milliseconds betweenStarts(100);
    const auto now = kiv::Clock::current().monotonic();
    const kiv::WriterLock lock(pushLock_);
    if (isPushWaiting_) {
        return;
    }
    const auto due = lastPushStart_ ? *lastPushStart_ + betweenStarts : now;
    lastPushStart_ = std::max(now, due);
    isPushWaiting_ = true;
    auto begin = [weak = weak_from_this(), fetchSource, completionHandler = std::move(completionHandler)] {
        if (const auto fetcher = weak.lock()) {
            {
                const kiv::Lock startLock(fetcher->pushLock_);
                fetcher->isPushWaiting_ = false;
            }
            fetcher->start(fetchSource, completionHandler);
        }
    };
    if (due <= now) {
        network_->urlSession().delegateQueue().post(std::move(begin));
    } else {
        pushTimer_ = kiv::Timer(std::chrono::duration<double>(due - now).count(), false, std::move(begin));
    }
}

void KIVConfigurationFetcher::start(const std::optional<std::string>& fetchSource,
                                    Completion completionHandler) {
    // The rest runs on the session's queue: it takes longer the more properties are registered, and the
    // caller may be an application's thread.
    network_->urlSession().delegateQueue().post([self = shared_from_this(), fetchSource,
                                                 completionHandler = std::move(completionHandler)] {
        if (self->network_->isStopped()) {
            return;
        }
        if (self->shouldSkipFetch(fetchSource)) {
            KIV_DEBUG_LOG("Skipping fetch - kill switch");
            return;
        }
        self->loadConfigurationFromURL(0, true, self->deviceProperties_->allProperties(), completionHandler);
    });
}

bool KIVConfigurationFetcher::shouldSkipFetch(const std::optional<std::string>& fetchSource) {
    const auto seconds =
        featureFlagSetter_->experimentValueWithFlagName("kiv.internal.throttleFetchInSeconds");
    const std::int64_t wait = std::min<std::int64_t>(kiv::readInteger(seconds.value_or("")), longestThrottle);
    const bool considersPush =
        featureFlagSetter_->experimentValueWithFlagName("kiv.internal.considerThrottleInPush") == "true";
    // Every fetch with a source counts as a fetch for the push stream.
    if (wait <= 0 || (fetchSource && !considersPush)) {
        return false;
    }
    const KIVDate now = kiv::Clock::current().now();
    // When the clock was set back to before the last fetch, the time since that fetch is unknown: fetch.
    if (lastFetchTime_ && now >= *lastFetchTime_ && now < *nextFetchTime_) {
        return true;
    }
    lastFetchTime_ = now;
    nextFetchTime_ = now + std::chrono::seconds(wait);
    return false;
}

void KIVConfigurationFetcher::loadConfigurationFromURL(double timeout, bool saveCheckpointState,
                                                       const Properties& props,
                                                       Completion completionHandler) {
    const std::uint64_t fetch = ++startedFetches_;
    const std::string_view key = keyOf(*props);
    KIV_DEBUG_LOG("KIVConfigurationFetcher: Using SDK key from device properties: %@", key);
    const auto request = urlBuidler_->createNetworkCacheURL(*props);
    if (!request) {
        handleMissingCacheWithCacheMissUrl(fetch, props, std::move(completionHandler));
        return;
    }
    KIV_DEBUG_LOG("fetcherType=%d dataUrl=%@ params=%@ using SDK key=%@", fetcherType_, request->url,
                  kiv::compactJson(*request->parameters), key);
    KIV_DEBUG_LOG("KIVConfigurationFetcher: URL being constructed with SDK key: %@", key);
    if (request->url.find(key) == std::string::npos) {
        KIV_DEBUG_LOG("KIVConfigurationFetcher: WARNING - URL does not contain the current SDK key: %@", key);
    }
    // When the process ends during this fetch, the next start is more patient; the answer sets the patience
    // back to 0.
    const bool keepsState = fetcherType_ == productionType;
    if (keepsState && saveCheckpointState) {
        iterateNextStartLoadingState();
    }
    getJsonFromURL(
        fetch, *request, timeout,
        [self = shared_from_this(), fetch, props, keepsState,
         completionHandler = std::move(completionHandler)](const KIVConfigurationDataResult& result,
                                                           KIVNetworkError error) {
            if (keepsState) {
                self->configurationLoadingDataManager_->setNextStartLoadingType(0);
            }
            if (error == KIVNetworkError::notFound) {
                self->handleMissingCacheWithCacheMissUrl(fetch, props, completionHandler);
            } else {
                completionHandler(error == KIVNetworkError::none ? result : failureResult(error),
                                  KIVConfigurationSource::network);
            }
        },
        true, false);
}

void KIVConfigurationFetcher::handleMissingCacheWithCacheMissUrl(std::uint64_t fetch, const Properties& props,
                                                                 Completion completionHandler) {
    const std::string_view key = keyOf(*props);
    KIV_DEBUG_LOG("KIVConfigurationFetcher: handleMissingCache using SDK key from device properties: %@",
                  key);
    const auto request = urlBuidler_->createRequestConfigurationURL(*props);
    if (!request) {
        completionHandler(failureResult(KIVNetworkError::unknown), KIVConfigurationSource::network);
        return;
    }
    KIV_DEBUG_LOG("handleMissingCacheWithCacheMissUrl: url=%@ using SDK key=%@", request->url, key);
    if (request->url.find(key) == std::string::npos) {
        KIV_DEBUG_LOG(
            "KIVConfigurationFetcher: WARNING - Request URL does not contain the current SDK key: %@", key);
    }
    getJsonFromURL(
        fetch, *request, 0,
        [completionHandler = std::move(completionHandler)](const KIVConfigurationDataResult& result,
                                                           KIVNetworkError) {
            completionHandler(result, KIVConfigurationSource::network);
        },
        false, false);
}

void KIVConfigurationFetcher::getJsonFromURL(std::uint64_t fetch, const KIVHttpRequestData& requestData,
                                             double timeout, ResultCompletion completionHandler,
                                             bool doNotReport404, bool useDefaultCachePolicy) {
    KIV_DEBUG_LOG("url=%@, params=%@", requestData.url,
                  requestData.parameters ? kiv::compactJson(*requestData.parameters) : "(null)");
    network_->getJsonFromURL(
        requestData, timeout,
        [self = shared_from_this(), fetch, url = requestData.url,
         completionHandler = std::move(completionHandler)](const Document& envelope, KIVNetworkError error) {
            if (error != KIVNetworkError::none) {
                completionHandler(failureResult(error), error);
            } else if (self->fetcherType_ == productionType) {
                KIVConfigurationDataResult result = failureResult(KIVNetworkError::unknown);
                const auto misread =
                    kiv::failureOf([&] { result = self->resultOf(fetch, envelope, url, error); });
                if (misread) { // no memory
                    error = KIVNetworkError::unknown;
                    KIV_DEBUG_LOG("url=%@ could not be read: %@", url, misread->what());
                }
                completionHandler(result, error);
            }
        },
        doNotReport404, useDefaultCachePolicy);
}

/// The result for an envelope that has just arrived. The envelope is stored even when its signature does not
/// verify: it is checked again whenever it is loaded, and the next start then reports the failure.
KIVConfigurationDataResult KIVConfigurationFetcher::resultOf(std::uint64_t fetch, const Document& envelope,
                                                             const std::string& url, KIVNetworkError& error) {
    if (fetch < newestFetch_) {
        KIV_DEBUG_LOG("The answer of an earlier fetch came after a later one's and is not used: %@", url);
        return {nullptr, KIVFetcherStatus::network, signedDateFromConfiguration(envelope), std::nullopt,
                false};
    }
    const Document stored = configurationLoadingDataManager_->productionConfiguration();
    const bool hasChanges = stored && !kiv::equalJson(*envelope, *stored);
    auto payload = network_->extractInnerJson(*envelope, url, &error);
    if (!payload || !isDummy(*payload)) {
        configurationLoadingDataManager_->setProductionConfiguration(envelope);
    }
    if (!payload) {
        return {nullptr, KIVFetcherStatus::error, std::nullopt, KIVNetwork::networkErrorString(error),
                hasChanges};
    }
    newestFetch_ = fetch;
    return {std::move(payload), KIVFetcherStatus::network, signedDateFromConfiguration(envelope),
            std::nullopt, hasChanges};
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
    // A missing date counts as earlier than every date.
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
