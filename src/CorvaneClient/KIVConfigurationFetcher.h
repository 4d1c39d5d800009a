#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "CorvaneClient/KIVClientConfigurationLoadingDataManager.h"
#include "Model/KIVConfigurationDataResult.h"
#include "Network/KIVNetwork.h"
#include "Network/KIVURLBuilder.h"
#include "Platform/Threads/Queues.h"

class KIVDeviceProperties;
class KIVFeatureFlagsSetter;

/// Where the result of a fetch comes from.
enum class KIVConfigurationSource : int { store = 0, network = 1 };

/// Obtains the configurations of one key: first the stored or embedded configuration, then the CDN's
/// configuration for this device, or the API's when the CDN has none. Callable from any thread.
class KIVConfigurationFetcher : public std::enable_shared_from_this<KIVConfigurationFetcher> {
public:
    using Document = KIVConfigurationDataResult::Document;
    using Completion =
        std::function<void(const KIVConfigurationDataResult& result, KIVConfigurationSource source)>;

    /// The type of fetcher that clients make. A fetcher of another type loads and stores nothing, and
    /// completes with failures only.
    static constexpr int productionType = 0;

    /// No pointer may be null.
    KIVConfigurationFetcher(
        std::shared_ptr<const KIVNetwork> network, int fetcherType,
        std::shared_ptr<KIVClientConfigurationLoadingDataManager> configurationLoadingDataManager,
        std::shared_ptr<const KIVURLBuilder> urlBuilder,
        std::shared_ptr<const KIVDeviceProperties> deviceProperties,
        std::shared_ptr<const KIVFeatureFlagsSetter> featureFlagSetter);

    /// The first call completes with the `cachedConfiguration`, if there is one, on this thread and before it
    /// returns. Every call, unless `storeOnly`, then asks the network and completes on the network session's
    /// queue; a fetch that the configuration's throttling leaves out does not complete. `fetchSource` is
    /// nullopt for an ordinary fetch, and "push" for a fetch that the push stream asked for. While a fetch
    /// for the push stream waits to start, further push fetches are left out; at most ten start in a second.
    /// Once a later fetch has brought a document, the document of an earlier fetch is not stored, and the
    /// result of that fetch has no configuration.
    void fetchConfiguration(bool storeOnly, const std::optional<std::string>& fetchSource,
                            Completion completionHandler);

    /// Whether "kiv.internal.throttleFetchInSeconds" of the configuration in use leaves the fetch out. A
    /// fetch that is not throttled starts a new throttling period. To be called on the network session's
    /// queue only.
    bool shouldSkipFetch(const std::optional<std::string>& fetchSource);

    /// The stored or the embedded configuration, verified. An error result when it does not verify; a result
    /// without a configuration when there is neither; nullopt when the fetcher is not of the production type.
    std::optional<KIVConfigurationDataResult> cachedConfiguration() const;

    /// Chooses between two envelopes, either of which may be null: the envelope signed later, or the embedded
    /// one when both dates are equal or the stored envelope has no date. The result holds the envelope
    /// unverified.
    static KIVConfigurationDataResult cachedConfigurationByDate(Document stored, Document embedded);

    /// When the envelope was signed; nullopt when it is null or carries no date.
    static std::optional<KIVDate> signedDateFromConfiguration(const Document& envelope);

    /// Raises the patience of the next start by one step (0, 1, 2, then 0 again) and stores it.
    void iterateNextStartLoadingState();

    /// How long this start may wait for a first configuration, in seconds: 0, 2 or 8 by the stored patience.
    double timeIntervalForCurrentNextStartLoadingType() const;

private:
    using Properties = std::shared_ptr<const kiv::json::object>;
    using ResultCompletion =
        std::function<void(const KIVConfigurationDataResult& result, KIVNetworkError error)>;

    void start(const std::optional<std::string>& fetchSource, Completion completionHandler);
    void startAfterOtherPushes(const std::string& fetchSource, Completion completionHandler);
    void loadConfigurationFromURL(double timeout, bool saveCheckpointState, const Properties& props,
                                  Completion completionHandler);
    void handleMissingCacheWithCacheMissUrl(std::uint64_t fetch, const Properties& props,
                                            Completion completionHandler);
    void getJsonFromURL(std::uint64_t fetch, const KIVHttpRequestData& requestData, double timeout,
                        ResultCompletion completionHandler, bool doNotReport404, bool useDefaultCachePolicy);
    KIVConfigurationDataResult resultOf(std::uint64_t fetch, const Document& envelope, const std::string& url,
                                        KIVNetworkError& error);

    const std::shared_ptr<const KIVNetwork> network_;
    const int fetcherType_;
    const std::shared_ptr<KIVClientConfigurationLoadingDataManager> configurationLoadingDataManager_;
    const std::shared_ptr<const KIVURLBuilder> urlBuidler_;
    const std::shared_ptr<const KIVDeviceProperties> deviceProperties_;
    const std::shared_ptr<const KIVFeatureFlagsSetter> featureFlagSetter_;
    std::atomic<bool> notFirstTimeLoading_{false};
    std::mutex pushLock_; ///< for the fields below
    bool isPushWaiting_ = false;
    std::optional<std::chrono::steady_clock::time_point> lastPushStart_;
    kiv::Timer pushTimer_;
    // The fields below are used on the session's queue only.
    std::uint64_t startedFetches_ = 0; ///< each fetch has its number
    std::uint64_t newestFetch_ = 0;    ///< the latest fetch that has brought a document
    std::optional<KIVDate> lastFetchTime_;
    std::optional<KIVDate> nextFetchTime_;
};
