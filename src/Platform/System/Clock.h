#pragma once

#include <chrono>
#include <memory>

#include <kiv/KIVDate.h>

namespace kiv {

/// The one source of time, so that whatever waits or compares dates can be tested without sleeping.
class Clock {
public:
    virtual ~Clock() = default;

    virtual KIVDate now() const = 0;
    virtual std::chrono::steady_clock::time_point monotonic() const = 0;

    /// The clock in use: the system's until another one is installed.
    static const Clock& current();

    /// Puts another clock in place for the rest of the process; it is never destroyed. For tests.
    static void install(std::unique_ptr<Clock> clock);
};

} // namespace kiv
