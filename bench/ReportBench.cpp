#include <atomic>
#include <chrono>
#include <fstream>
#include <future>
#include <thread>

#include <sys/inotify.h>
#include <unistd.h>

#include "BenchWorld.h"

#include "Analytics/KIVSEGAnalytics.h"
#include "Analytics/KIVSEGFileStorage.h"
#include "Analytics/KIVSEGSegmentIntegration.h"
#include "Flags/KIVFeatureFlagsRepository.h"
#include "Platform/System/Files.h"
#include "Platform/Threads/Queues.h"
#include "Support/LoopbackServer.h"

// The cost of impressions that go to an analytics service.

namespace {

using Clock = std::chrono::steady_clock;

double milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

LoopbackServer& service() {
    static LoopbackServer& server = *new LoopbackServer;
    server.on("/impression/" + reportKey, LoopbackServer::answer(200, ""));
    return server;
}

/// An analytics client that sends nothing before `flush` is called.
std::shared_ptr<KIVSEGAnalytics> patientClient() {
    benchFlags(); // configures the library's folder
    auto configuration = KIVSEGAnalyticsConfiguration::configurationWithWriteKey(
        reportKey,
        std::make_shared<KIVDeviceProperties>(reportKey, std::nullopt,
                                              std::make_shared<KIVCustomPropertiesRepository>(),
                                              std::make_shared<KIVFeatureFlagsRepository>()),
        service().url(""));
    configuration->flushAt = 1'000'000;
    return KIVSEGAnalytics::create(configuration);
}

void track(KIVSEGAnalytics& analytics) {
    analytics.track({.distinctId = "5e0bd1f2-c3a4-b5d6-e7f8-091200000000",
                     .flag = "bench.plain",
                     .time = 1.8e9,
                     .value = "false"});
}

/// One event, measured on the thread that makes it. A thread of the library queues the events meanwhile.
void trackOne(benchmark::State& state) {
    const auto analytics = patientClient();
    const AllocationsPerIteration allocations(state);
    for (auto _ : state) {
        track(*analytics);
    }
    analytics->close(10);
}

/// One read of a flag whose impressions go to a service.
void readOne(benchmark::State& state) {
    const BenchFlags& flags = benchFlagsWithReports(service().url(""));
    const AllocationsPerIteration allocations(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(flags.plain.isEnabled());
    }
    kiv::Timer::timePassed();
}

/// From the call of `flush` until the service has accepted 100 events and the queue has dropped them.
void flushHundred(benchmark::State& state) {
    const auto analytics = patientClient();
    std::promise<void>* taken = nullptr;
    auto& center = kiv::NotificationCenter::defaultCenter();
    const auto token = center.addObserver(std::string(KIVSegmentRequestDidSucceedNotification),
                                          [&](const auto&) { taken->set_value(); });
    for (auto _ : state) {
        state.PauseTiming();
        for (std::size_t i = 0; i < KIVSEGSegmentIntegration::maxBatchSize; ++i) {
            track(*analytics);
        }
        kiv::Timer::timePassed();
        std::promise<void> promise;
        taken = &promise;
        state.ResumeTiming();
        analytics->flush();
        promise.get_future().wait();
    }
    center.removeObserver(token);
    analytics->close(10);
}

/// Counts how often a file in the folder is written.
class Writes {
public:
    explicit Writes(const std::string& folder) : watch_(inotify_init1(IN_NONBLOCK)) {
        inotify_add_watch(watch_, folder.c_str(), IN_CREATE); // each write creates a temporary file
    }
    ~Writes() { close(watch_); }
    Writes(const Writes&) = delete;
    Writes& operator=(const Writes&) = delete;

    /// Writes since the last call.
    int count() {
        alignas(inotify_event) char buffer[64 * 1024];
        int events = 0;
        for (ssize_t size = 0; (size = read(watch_, buffer, sizeof buffer)) > 0;) {
            for (ssize_t at = 0; at < size; ++events) {
                at +=
                    ssize_t(sizeof(inotify_event) + reinterpret_cast<const inotify_event*>(buffer + at)->len);
            }
        }
        return events;
    }

private:
    const int watch_;
};

double residentMegabytes() {
    std::ifstream file("/proc/self/statm");
    double total = 0;
    double resident = 0;
    file >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

/// 100,000 reads by two threads: the time of a read, and the library's work that is left after them.
void burst(benchmark::State& state) {
    constexpr int readsOfEach = 50'000;
    const BenchFlags& flags = benchFlagsWithReports(service().url(""));
    kiv::Timer::timePassed();
    const std::string folder = KIVSEGFileStorage::applicationSupportDirectoryURL() + "/" + reportKey;
    Writes writes(folder);
    const std::size_t requestsBefore = service().requests().size();
    double catchUp = 0;
    double memory = 0;
    for (auto _ : state) {
        std::atomic<bool> ends = false;
        const double before = residentMegabytes();
        std::thread watcher([&] {
            while (!ends) {
                memory = std::max(memory, residentMegabytes() - before);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
        const auto start = Clock::now();
        const auto reads = [&] {
            for (int i = 0; i < readsOfEach; ++i) {
                benchmark::DoNotOptimize(flags.plain.isEnabled());
            }
        };
        std::thread other(reads);
        reads();
        other.join();
        const auto done = Clock::now();
        kiv::Timer::timePassed();
        catchUp = std::max(catchUp, milliseconds(Clock::now() - done));
        state.SetIterationTime(std::chrono::duration<double>(done - start).count() / readsOfEach);
        ends = true;
        watcher.join();
    }
    const KIVSEGFileStorage storage(folder, nullptr);
    const auto queue = storage.arrayForKey("kiv.segmentio.queue.plist");
    state.counters["catch_up_ms"] = catchUp;
    state.counters["memory_mb"] = memory;
    state.counters["writes"] = writes.count() / static_cast<double>(state.iterations());
    state.counters["queue"] = queue.is_array() ? static_cast<double>(queue.get_array().size()) : -1;
    state.counters["uploads"] = static_cast<double>(service().requests().size() - requestsBefore) /
                                static_cast<double>(state.iterations());
}

BENCHMARK(trackOne)->Name("impression/track")->UseRealTime();
BENCHMARK(flushHundred)
    ->Name("impression/flush/100")
    ->Iterations(50)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
// The benchmarks from here on set up a client whose impressions go to a service.
BENCHMARK(burst)->Name("impression/burst")->Iterations(3)->UseManualTime();
BENCHMARK(readOne)->Name("impression/read")->UseRealTime();

} // namespace
