#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "CorvaneClient/KIVClientConfigurationLoadingDataManager.h"
#include "Model/KIVConfigurationDataResult.h"
#include "Network/KIVNetwork.h"
#include "Network/KIVURLBuilder.h"

class KIVDeviceProperties;
class KIVFeatureFlagsSetter;

/// Where a fetch's result comes from.
enum class KIVConfigurationSource : int { store = 0, network = 1 };

/// Obtains the configurations of one key: what is at hand without a network, then what the CDN has for this
/// device, or the API when the CDN has nothing. Callable from any thread.
class KIVConfigurationFetcher : public std::enable_shared_from_this<KIVConfigurationFetcher> {
public:
    using Document = KIVConfigurationDataResult::Document;
    using Completion =
        std::function<void(const KIVConfigurationDataResult& result, KIVConfigurationSource source)>;

    /// The type that clients make. Fetchers of other types have nothing at hand, store nothing, and tell of
    /// failures only.
    static constexpr int productionType = 0;

    /// No pointer may be null.
    KIVConfigurationFetcher(
        std::shared_ptr<const KIVNetwork> network, int fetcherType,
        std::shared_ptr<KIVClientConfigurationLoadingDataManager> configurationLoadingDataManager,
        std::shared_ptr<const KIVURLBuilder> urlBuilder,
        std::shared_ptr<const KIVDeviceProperties> deviceProperties,
        std::shared_ptr<const KIVFeatureFlagsSetter> featureFlagSetter);

    /// The first call hands what `cachedConfiguration` has to the completion, on this thread and before it
    /// returns, unless it has none. Then, if not `storeOnly`, the network is asked, and the completion called
    /// on the network session's queue; not at all for a fetch that the service's throttling forbids.
    /// `fetchSource` says what asked for the fetch: nothing for an ordinary one, "push" for the push stream.
    void fetchConfiguration(bool storeOnly, const std::optional<std::string>& fetchSource,
                            Completion completionHandler);

    /// Whether a fetch has to be left out, as the configuration in use says
    /// "kiv.internal.throttleFetchInSeconds". One that need not be starts the time in which the next ones
    /// are. On the network session's queue only.
    bool shouldSkipFetch(const std::optional<std::string>& fetchSource);

    /// The stored or the embedded configuration, verified; an error result when that fails; a result without
    /// configuration when there is none. Nothing for a fetcher that is not of the production type.
    std::optional<KIVConfigurationDataResult> cachedConfiguration() const;

    /// Chooses between two envelopes, either of which may be null: the one signed later; the embedded one
    /// when both were signed at once or the stored one has no date. The result holds the envelope,
    /// unverified.
    static KIVConfigurationDataResult cachedConfigurationByDate(Document stored, Document embedded);

    /// When the envelope was signed; nothing when it is null or does not say.
    static std::optional<KIVDate> signedDateFromConfiguration(const Document& envelope);

    /// Makes the next start more patient (0, 1, 2 and around again), and persists that.
    void iterateNextStartLoadingState();

    /// How long this start may wait for a first configuration, in seconds.
    double timeIntervalForCurrentNextStartLoadingType() const;

private:
    using Properties = std::shared_ptr<const kiv::json::object>;
    using ResultCompletion =
        std::function<void(const KIVConfigurationDataResult& result, KIVNetworkError error)>;

    void loadConfigurationFromURL(double timeout, bool saveCheckpointState, const Properties& props,
                                  Completion completionHandler);
    void handleMissingCacheWithCacheMissUrl(const Properties& props, Completion completionHandler);
    void getJsonFromURL(const KIVHttpRequestData& requestData, double timeout,
                        ResultCompletion completionHandler, bool doNotReport404, bool useDefaultCachePolicy);
    KIVConfigurationDataResult resultOf(const Document& envelope, const std::string& url,
                                        KIVNetworkError& error);

    const std::shared_ptr<const KIVNetwork> network_;
    const int fetcherType_;
    const std::shared_ptr<KIVClientConfigurationLoadingDataManager> configurationLoadingDataManager_;
    const std::shared_ptr<const KIVURLBuilder> urlBuidler_;
    const std::shared_ptr<const KIVDeviceProperties> deviceProperties_;
    const std::shared_ptr<const KIVFeatureFlagsSetter> featureFlagSetter_;
    std::atomic<bool> notFirstTimeLoading_{false};
    // On the session's queue only.
    std::optional<KIVDate> lastFetchTime_;
    std::optional<KIVDate> nextFetchTime_;
};
