#include "Platform/System/Clock.h"

#include <atomic>
#include <mutex>
#include <vector>

#include "Platform/Threads/Fork.h"

namespace kiv {
namespace {

class SystemClock : public Clock {
public:
    KIVDate now() const override {
        return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
    }
    std::chrono::steady_clock::time_point monotonic() const override {
        return std::chrono::steady_clock::now();
    }
};

std::atomic<const Clock*>& installed() {
    static const Clock& system = *new SystemClock;
    static std::atomic<const Clock*> clock(&system);
    return clock;
}

} // namespace

const Clock& Clock::current() { return *installed().load(std::memory_order_acquire); }

void Clock::install(std::unique_ptr<Clock> clock) {
    // Keeps every clock that was ever installed, because a thread may still be using it.
    static std::mutex& lock = *new std::mutex;
    static auto& kept = *new std::vector<std::unique_ptr<Clock>>;
    const kiv::Lock guard(lock);
    kept.push_back(std::move(clock));
    installed().store(kept.back().get(), std::memory_order_release);
}

} // namespace kiv
