#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "BenchWorld.h"

#include "Flags/KIVFeatureFlagsRepository.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Support/Inbox.h"
#include "Support/LoopbackServer.h"

// Fetches while the application reads flags, and costs of registering flags, adding properties and building
// the state.

namespace {

using Clock = std::chrono::steady_clock;

/// Reads a flag without pause on a thread of its own. `measure` turns the recording of times on and off.
class Reader {
public:
    explicit Reader(const KIVFlag& flag) : thread_([this, &flag] { run(flag); }) {}
    ~Reader() {
        ends_ = true;
        thread_.join();
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    void measure(bool on) { measures_ = on; }

    /// The median time of a read since the last call, in nanoseconds; 0 without a recorded time.
    double median() {
        const std::lock_guard lock(lock_);
        const auto middle = times_.begin() + static_cast<std::ptrdiff_t>(times_.size() / 2);
        std::nth_element(times_.begin(), middle, times_.end());
        const double median = times_.empty() ? 0 : *middle;
        times_.clear();
        return median;
    }

private:
    void run(const KIVFlag& flag) {
        constexpr int batch = 20;
        while (!ends_) {
            const auto start = Clock::now();
            for (int i = 0; i < batch; ++i) {
                benchmark::DoNotOptimize(flag.isEnabled());
            }
            const std::chrono::duration<double, std::nano> took = Clock::now() - start;
            if (measures_) {
                const std::lock_guard lock(lock_);
                times_.push_back(took.count() / batch);
            }
        }
    }

    std::atomic<bool> ends_{false};
    std::atomic<bool> measures_{false};
    std::mutex lock_;
    std::vector<double> times_;
    std::thread thread_;
};

/// One fetch, from `KIVCore::fetch` to the handler: the document is fetched, verified, stored and applied.
void fetch(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    // Both are left alone at the end, as the library's threads may still use them.
    static LoopbackServer& server = *new LoopbackServer;
    static Inbox<KIVFetcherResult>& fetched = *new Inbox<KIVFetcherResult>;
    server.on("/cdn/" + serviceKey + "/" +
                  KIVDeviceProperties::buidFor(serviceKey, benchSigner().certificateBase64),
              LoopbackServer::answer(200, benchSigner().sign(payloadOf(count, serviceKey))));
    BenchFlags& flags = benchFlagsWithService(server.url("/cdn"), [](const KIVFetcherResult& result) {
        if (result.fetcherStatus == 3) {
            fetched.put(result);
        }
    });
    static const bool served = fetched.next().has_value(); // the first setup with a key fetches
    if (!served) {
        state.SkipWithError("the document was not fetched");
        return;
    }
    Reader reader(flags.plain);
    reader.measure(true);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const double usual = reader.median();
    for (auto _ : state) {
        KIVCore::fetch();
        if (!fetched.next()) {
            state.SkipWithError("the document was not fetched again");
            break;
        }
    }
    state.counters["reads_slowdown"] = reader.median() / usual;
}

/// Rebuilds the state, as text and hash, of `range(0)` flags after one property was added.
void buildState(benchmark::State& state) {
    benchFlags();
    auto flags = std::make_shared<KIVFeatureFlagsRepository>();
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        flags->takeFeature(std::make_shared<KIVFlag>(false), "bench.state" + std::to_string(i));
    }
    const auto properties = std::make_shared<KIVCustomPropertiesRepository>();
    const KIVDeviceProperties device(benchKey, std::nullopt, properties, flags);
    for (auto _ : state) {
        properties->addCustomProperty(KIVCustomProperty::withBoolValue("again", true));
        benchmark::DoNotOptimize(device.allProperties());
    }
}

// The library keeps the flags and properties that are added from here on: each round uses new names, and
// there are only few rounds.

constexpr int rounds = 20;

std::vector<std::string> newNames(std::size_t count) {
    static std::size_t made = 0;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < count; ++i) {
        names.push_back("registered.name" + std::to_string(++made));
    }
    return names;
}

void registerFlags(benchmark::State& state) {
    benchFlags();
    for (auto _ : state) {
        state.PauseTiming();
        const auto names = newNames(static_cast<std::size_t>(state.range(0)));
        std::vector<std::shared_ptr<KIVFlag>> flags;
        for (std::size_t i = 0; i < names.size(); ++i) {
            flags.push_back(std::make_shared<KIVFlag>(false));
        }
        state.ResumeTiming();
        for (std::size_t i = 0; i < names.size(); ++i) {
            KIVCore::flagsRepository()->addFeature(flags[i], names[i]);
        }
    }
}

void addProperties(benchmark::State& state) {
    benchFlags();
    for (auto _ : state) {
        state.PauseTiming();
        const auto names = newNames(static_cast<std::size_t>(state.range(0)));
        state.ResumeTiming();
        for (const std::string& name : names) {
            KIVCore::setCustomStringProperty("value", name);
        }
    }
}

// `fetch` sets up with a key of its own, so it runs after the benchmarks that need another client; it runs
// before `register` because that leaves many flags behind.
BENCHMARK(buildState)->Name("state")->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(fetch)->Name("fetch")->Arg(10000)->Iterations(20)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK(registerFlags)
    ->Name("register")
    ->Arg(1000)
    ->Arg(10000)
    ->Iterations(rounds)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(addProperties)
    ->Name("device/add_property")
    ->Arg(100)
    ->Arg(1000)
    ->Iterations(rounds)
    ->Unit(benchmark::kMillisecond);

} // namespace
