#pragma once

#include <chrono>
#include <memory>

#include <kiv/KIVDate.h>

namespace kiv {

/// The source of every date that the library notes or compares, and of the times of its timers, throttles and
/// measurements, so that all of them can be tested without sleeping.
///
/// Waits for something outside of the library run in real time, whatever clock is installed: the limits of
/// requests and connections, the waits for threads at the end of the process or of a screen, and the age of
/// files that were left behind, whose times the system sets. A test's clock stands still, so a wait by that
/// clock for a silent server would never end.
class Clock {
public:
    virtual ~Clock() = default;

    /// The date and time of day, in UTC. It may go back when somebody sets the device's clock.
    virtual KIVDate now() const = 0;
    /// A time that never goes back, for intervals.
    virtual std::chrono::steady_clock::time_point monotonic() const = 0;

    /// The clock in use: the system's until another one is installed. Callable from any thread.
    static const Clock& current();

    /// Puts another clock in place for the rest of the process; it is never destroyed. For tests.
    static void install(std::unique_ptr<Clock> clock);
};

} // namespace kiv
