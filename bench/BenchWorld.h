#pragma once

#include <functional>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include <kiv/kiv.h>

#include "Allocations.h"
#include "Support/Signing.h"

inline const std::string benchKey = "5e0bd1f2c3a4b5d6e7f80912";

/// The flags that the read benchmarks read, served by a document that went through setup.
struct BenchFlags : KIVBaseContainer {
    KIVFlag plain{false};
    KIVFlag rule{false};
    KIVFlag rollout{false};
    KIVFlag compound{false};
    KIVString regex{"0"};
    KIVFlag frozen{false, 1};
    KIVFlag overridden{false};
    KIV_CONTAINER(BenchFlags, plain, rule, rollout, compound, regex, frozen, overridden);
};

/// Sets the library up once for the process, in a folder of its own.
BenchFlags& benchFlags();

/// The same flags after a setup with another key and an impression handler, which stays: benchmarks that
/// call this come after those that do not.
BenchFlags& benchFlagsWithHandler();

/// The same flags, after a setup with a further key that fetches from the URL.
BenchFlags& benchFlagsWithService(const std::string& configCdn,
                                  std::function<void(const KIVFetcherResult&)> fetched);
inline const std::string serviceKey = "5e0bd1f2c3a4b5d6e7f80914";

/// The same flags, after a setup with a further key whose impressions go to the service at the URL.
BenchFlags& benchFlagsWithReports(const std::string& analytics);
inline const std::string reportKey = "5e0bd1f2c3a4b5d6e7f80915";

/// A payload with one flag and one rule an experiment.
std::string payloadOf(std::size_t experiments, const std::string& key = benchKey);

/// The one key pair of the run.
const Signer& benchSigner();

/// Counts the allocations of this thread while it lives and reports them per iteration.
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
