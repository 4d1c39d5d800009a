#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>

#include "Platform/System/Clock.h"
#include "Platform/Threads/Queues.h"

/// A clock that stands still until the test moves it.
class ManualClock : public kiv::Clock {
public:
    /// Makes a manual clock the clock of the process.
    static ManualClock& install() {
        auto clock = std::make_unique<ManualClock>();
        ManualClock& installed = *clock;
        kiv::Clock::install(std::move(clock));
        return installed;
    }

    /// Moves the clock and waits until all timers that are due by then have run. Not callable from the work
    /// thread.
    void advance(double seconds) {
        passed_ += static_cast<std::int64_t>(seconds * 1e6);
        kiv::Timer::timePassed();
    }

    KIVDate now() const override { return KIVDate(std::chrono::microseconds(passed_)); }
    std::chrono::steady_clock::time_point monotonic() const override {
        return std::chrono::steady_clock::time_point(std::chrono::microseconds(passed_));
    }

private:
    std::atomic<std::int64_t> passed_ = 1'800'000'000'000'000; ///< microseconds since 1970
};
