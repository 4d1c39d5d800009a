#pragma once

#include <functional>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include <kiv/kiv.h>

#include "Allocations.h"
#include "Support/Signing.h"

inline const std::string benchKey = "5e0bd1f2c3a4b5d6e7f80912";

/// The flags of the read benchmarks. Setup applies a signed document that has experiments for them.
struct BenchFlags : KIVBaseContainer {
    KIVFlag plain{false};
    KIVFlag constant{false};
    KIVFlag rule{false};
    KIVFlag rollout{false};
    KIVFlag compound{false};
    KIVFlag list{false};
    KIVFlag twenty{false};
    KIVFlag forty{false};
    KIVString regex{"0"};
    KIVFlag context{false};
    KIVFlag frozen{false, 1};
    KIVFlag overridden{false};
    KIV_CONTAINER(BenchFlags, plain, constant, rule, rollout, compound, list, twenty, forty, regex, context,
                  frozen, overridden);
};

/// Sets the library up at the first call, in a temporary folder. Returns the registered flags.
BenchFlags& benchFlags();

/// The same flags. The first call sets up with another key and an impression handler, which stays for the
/// rest of the run: benchmarks without a handler must run before.
BenchFlags& benchFlagsWithHandler();

/// The same flags, after a setup with `serviceKey` that fetches from the configuration CDN at the URL.
/// `fetched` becomes `onConfigurationFetched`.
BenchFlags& benchFlagsWithService(const std::string& configCdn,
                                  std::function<void(const KIVFetcherResult&)> fetched);
inline const std::string serviceKey = "5e0bd1f2c3a4b5d6e7f80914";

/// The same flags. The first call sets up with `reportKey`, and impressions go to the analytics service at
/// the URL.
BenchFlags& benchFlagsWithReports(const std::string& analytics);
inline const std::string reportKey = "5e0bd1f2c3a4b5d6e7f80915";

/// A key that no setup has used yet.
std::string unusedKey();

/// Options for a setup with the key and a document that has an experiment for each flag but `plain`.
KIVOptions optionsFor(const std::string& key);

/// The text of a payload with `experiments` experiments, each with one flag and one comparison.
std::string payloadOf(std::size_t experiments, const std::string& key = benchKey);

/// The key pair that signs all documents of the run.
const Signer& benchSigner();

/// Counts this thread's heap allocations from construction to destruction and reports them per iteration.
class AllocationsPerIteration {
public:
    explicit AllocationsPerIteration(benchmark::State& state)
        : state_(state), before_(allocationsOfThread()) {}
    ~AllocationsPerIteration() {
        state_.counters["allocations"] =
            benchmark::Counter(static_cast<double>(allocationsOfThread() - before_),
                               benchmark::Counter::kAvgIterations | benchmark::Counter::kAvgThreads);
    }
    AllocationsPerIteration(const AllocationsPerIteration&) = delete;
    AllocationsPerIteration& operator=(const AllocationsPerIteration&) = delete;

private:
    benchmark::State& state_;
    std::uint64_t before_;
};
