#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include <kiv/KIVFlagsScreen.h>

#include "SoakFlags.h"

struct Settings {
    /// "counter": few reads, of which each impression counts; "steady": many reads; "drain": none.
    std::string mode;
    std::string library; ///< the Library folder
    std::string service; ///< the base of all endpoints
    std::string certificate;
    std::vector<std::string> keys; ///< the first is set up at the start, each other one once, later
    unsigned seed = 1;
    double keySeconds = 0; ///< between two changes of the key; 0 for none
};

/// An application that uses all of the library from several threads, until it is told to stop. It tells the
/// driver what it does, in lines that soak.py knows.
class Workload {
public:
    explicit Workload(Settings settings);

    void start();
    /// Stops all threads and shuts the library down.
    void stop();

private:
    using Random = std::mt19937;

    bool isCounter() const { return settings_.mode == "counter"; }
    void setUp(const std::string& key);
    /// Runs `step` on a thread of its own until the end, and waits `pause` after each.
    void repeat(const char* name, std::chrono::milliseconds pause, std::function<void(Random&)> step);

    void readAll(Random& random);
    void readTicket(Random& random);
    void setProperties(Random& random);
    void changeOverride(Random& random);
    void liveOn(Random& random);
    void useScreen(Random& random);
    void fork(Random& random);
    void changeKey(Random& random);

    const Settings settings_;
    const std::shared_ptr<SoakFlags> flags_ = std::make_shared<SoakFlags>();
    std::vector<std::thread> threads_;
    std::atomic<bool> stopping_{false};
    std::shared_mutex keyLock_; ///< held alone while the key changes
    std::size_t nextKey_ = 1;
    int nextOverride_ = 0;
    int nextTicket_ = 0;
    std::unique_ptr<KIVFlagsScreen> screen_;
    std::atomic<std::uint64_t> reads_{0};
    std::atomic<std::uint64_t> children_{0};
    std::atomic<std::uint64_t> pages_{0};
};
