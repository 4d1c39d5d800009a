#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "CorvaneClient/KIVClientConfigurationLoadingDataManager.h"
#include "Model/KIVConfigurationDataResult.h"
#include "Network/KIVNetwork.h"

/// Where a fetch's result comes from.
enum class KIVConfigurationSource : int { store = 0, network = 1 };

/// Obtains the configurations of one key, first from what is at hand without a network. Callable from any
/// thread.
class KIVConfigurationFetcher {
public:
    using Document = KIVConfigurationDataResult::Document;
    using Completion =
        std::function<void(const KIVConfigurationDataResult& result, KIVConfigurationSource source)>;

    /// The type that clients make. Fetchers of other types have nothing at hand.
    static constexpr int productionType = 0;

    /// Neither pointer may be null.
    KIVConfigurationFetcher(
        std::shared_ptr<const KIVNetwork> network, int fetcherType,
        std::shared_ptr<KIVClientConfigurationLoadingDataManager> configurationLoadingDataManager);

    /// The first call hands what `cachedConfiguration` has to the completion, on this thread and before it
    /// returns, unless it has none. Every call would then go to the network, if not `storeOnly`; there is no
    /// transport yet. `fetchSource` says what asked for the fetch: nothing for an ordinary one, "push" for
    /// the push stream.
    void fetchConfiguration(bool storeOnly, const std::optional<std::string>& fetchSource,
                            const Completion& completionHandler);

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
    const std::shared_ptr<const KIVNetwork> network_;
    const int fetcherType_;
    const std::shared_ptr<KIVClientConfigurationLoadingDataManager> configurationLoadingDataManager_;
    std::atomic<bool> notFirstTimeLoading_{false};
};
