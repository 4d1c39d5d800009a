#pragma once

#include <functional>
#include <memory>

/// Where the library's own work runs: one thread for all serial queues and timers, and the application's main
/// queue or a thread in its place. Threads start with the first task, block every signal, and never hold up
/// the end of the process: what has not run by then does not run. A child after a fork has no such thread.
namespace kiv {

/// Runs its tasks one after the other, in the order in which they came, on the library's work thread.
/// Callable from any thread. Tasks must not throw and must not wait for anything. A queue may go before its
/// tasks have run: they run all the same.
class SerialQueue {
public:
    SerialQueue();

    void post(std::function<void()> task);

    /// Runs the task like others of this queue, but not before no task of any queue is waiting any more.
    void postAtRest(std::function<void()> task);

    /// Whether the caller is a task of this queue.
    bool isCurrent() const;

private:
    struct Strand;
    std::function<void()> inside(std::function<void()> task) const;

    std::shared_ptr<Strand> strand_;
};

/// Whether the caller runs on the thread of all serial queues and timers, where nothing may wait for them.
bool isOnWorkThread() noexcept;

/// Runs a task later, once or again and again, until it is cancelled or destroyed.
///
/// Time is `Clock::current().monotonic()`: a test that installs a clock of its own, before the first timer,
/// moves timers with `Timer::timePassed`. A repeating timer keeps to its times, and makes up for those that
/// were missed with one run.
class Timer {
public:
    Timer() = default;
    /// Starts at once. `task` runs on the work thread, or wherever it posts itself to. `seconds` is what lies
    /// before the task runs and, when `repeats`, between one run and the next.
    Timer(double seconds, bool repeats, std::function<void()> task);
    ~Timer();
    Timer(Timer&&) noexcept;
    Timer& operator=(Timer&&) noexcept;

    /// The task does not start any more once this has returned, but may be running on another thread.
    /// Callable from any thread, also from the task.
    void cancel();

    /// Makes the work thread look at the clock, and waits until it has nothing left to do: what was due and
    /// what that has posted to serial queues has run. Not callable from the work thread. For tests.
    static void timePassed();

    struct State;

private:
    std::shared_ptr<State> state_;
};

/// Posts to the application's main queue (`KIVHost::mainQueue`), or to the library's thread in its place.
/// Callable from any thread. The task must not throw.
void postToMainQueue(std::function<void()> task);

} // namespace kiv
