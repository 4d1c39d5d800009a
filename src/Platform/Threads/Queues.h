#pragma once

#include <functional>
#include <memory>

/// Where the library's own work runs: on one thread for all serial queues and timers, and on the
/// application's main queue or a thread in its place. A thread starts with its first task. The process ends
/// without waiting for tasks; a task that has not run by then never runs. The tasks and timers of a process
/// are not its child's after a fork; in a silent child (Fork.h), new ones are dropped.
namespace kiv {

/// Runs its tasks one after the other, in the order in which they were posted, on the library's work thread.
/// Callable from any thread. Tasks must not throw and must not wait for anything. Destroying a queue does not
/// remove its tasks.
class SerialQueue {
public:
    SerialQueue();

    void post(std::function<void()> task);

    /// Runs the task once no task waits in any queue. Other tasks that were posted with `postAtRest` do not
    /// count.
    void postAtRest(std::function<void()> task);

    /// Whether the caller is a task of this queue.
    bool isCurrent() const;

private:
    struct Strand;
    std::function<void()> inside(std::function<void()> task) const;

    std::shared_ptr<Strand> strand_;
};

/// Whether the caller runs on the work thread. There it must not wait for a task of any queue or timer.
bool isOnWorkThread() noexcept;

/// Runs a task later, once or repeatedly, until it is cancelled or destroyed.
///
/// Time is `Clock::current().monotonic()`. A test that moves a clock of its own installs it before the first
/// timer and calls `Timer::timePassed` after each move. A repeating timer keeps to its schedule; one run
/// makes up for all missed runs.
class Timer {
public:
    Timer() = default;
    /// Starts at once. `seconds` is the time before the first run of `task` and, when `repeats`, between two
    /// runs. `task` runs on the work thread.
    Timer(double seconds, bool repeats, std::function<void()> task);
    ~Timer();
    Timer(Timer&&) noexcept;
    Timer& operator=(Timer&&) noexcept;

    /// Once this has returned, the task does not start any more; it may still be running on another thread.
    /// Callable from any thread, also from the task.
    void cancel();

    /// Makes the work thread look at the clock, and waits until it has run the tasks of all timers that are
    /// due and of all queues. Not callable from the work thread. For tests.
    static void timePassed();

    struct State;

private:
    std::shared_ptr<State> state_;
};

/// Posts the task to the application's main queue (`KIVHost::mainQueue`) or, when there is none, to the
/// library's thread kiv-main. Callable from any thread. The task must not throw.
void postToMainQueue(std::function<void()> task);

} // namespace kiv
