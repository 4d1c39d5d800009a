#include "Platform/Threads/Queues.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include <kiv/KIVHost.h>

#include "Platform/Host/HostLog.h"
#include "Platform/System/Clock.h"
#include "Platform/Threads/Fork.h"
#include "Platform/Threads/LibraryThread.h"
#include "Platform/Threads/ThreadEnd.h"

namespace kiv {

using Instant = std::chrono::steady_clock::time_point;
using Task = std::function<void()>;

struct SerialQueue::Strand {};

/// Guarded by the lock of the work thread.
struct Timer::State {
    std::shared_ptr<const Task> task; ///< null once the task must not start any more
    Instant due;
    Instant::duration period{}; ///< zero for a timer that runs once
    std::uint64_t number = 0;   ///< orders timers that are due at the same time
};

namespace {

/// Of all timers, also of a parent process.
std::atomic<std::uint64_t> lastNumber{0};

class TaskThread;
thread_local const TaskThread* runningThread = nullptr;

/// A thread of the library that runs tasks in the order in which they are posted, and the tasks of timers
/// when they are due.
class TaskThread {
public:
    explicit TaskThread(const char* name) : name_(name) {}

    void post(Task task) {
        if (isSilentFork()) {
            return;
        }
        const std::lock_guard lock(lock_);
        tasks_.push_back(std::move(task));
        wake();
    }

    void postAtRest(Task task) {
        if (isSilentFork()) {
            return;
        }
        const std::lock_guard lock(lock_);
        tasksAtRest_.push_back(std::move(task));
        wake();
    }

    void add(const std::shared_ptr<Timer::State>& timer) {
        if (isSilentFork()) {
            return;
        }
        const std::lock_guard lock(lock_);
        timer->number = ++lastNumber;
        insert(timer);
        wake();
    }

    void cancel(Timer::State& timer) {
        // Destroyed after the lock is released: objects that a task holds may call the library when they are
        // destroyed.
        std::shared_ptr<const Task> released;
        const std::lock_guard lock(lock_);
        timers_.erase({timer.due, timer.number}); // a timer of the parent process is not among them
        released.swap(timer.task);
    }

    void waitUntilIdle() {
        std::unique_lock lock(lock_);
        const std::uint64_t mine = ++idleAsked_;
        wake();
        becameIdle_.wait(lock, [&] { return idleAnswered_ >= mine; });
    }

private:
    void wake() {
        if (!started_) { // when the system has no thread to give, the next task tries again
            started_ = startLibraryThread(
                name_, [this] { runUntilTheThreadEnds(); },
                [this] {
                    const std::lock_guard lock(lock_);
                    wakeUp_.notify_all();
                },
                // A short time, because a task may be waiting for the very thread that ends the process.
                std::chrono::milliseconds(50));
        }
        wakeUp_.notify_all();
    }

    void insert(std::shared_ptr<Timer::State> timer) {
        const std::pair key(timer->due, timer->number);
        timers_.emplace(key, std::move(timer));
    }

    void runUntilTheThreadEnds() {
        runningThread = this;
        try {
            run();
        } catch (const ThreadEnd&) {
            goOnElsewhere();
            throw;
        }
    }

    /// Starts a new thread for the remaining tasks, because a callback is ending this thread.
    void goOnElsewhere() noexcept {
        try {
            const std::lock_guard lock(lock_);
            started_ = false;
            if (!std::exchange(hasTold_, true)) { // only once: a log sink might end each new thread
                tasks_.push_front([this] { writeHostLog(threadEndText(name_)); });
            }
            wake();
        } catch (...) { // out of memory: the next task tries again
        }
    }

    void run() {
        std::unique_lock lock(lock_);
        while (!processIsEnding()) {
            const Instant::duration untilNext = queueDueTimers();
            if (auto& waiting = tasks_.empty() ? tasksAtRest_ : tasks_; !waiting.empty()) {
                Task task = std::move(waiting.front());
                waiting.pop_front();
                lock.unlock();
                perform(std::move(task));
                lock.lock();
                continue;
            }
            idleAnswered_ = idleAsked_;
            becameIdle_.notify_all();
            if (timers_.empty()) {
                wakeUp_.wait(lock);
            } else {
                wakeUp_.wait_for(lock, untilNext);
            }
        }
    }

    /// Queues the tasks of the timers that are due. Returns the time until the next timer is due; zero when
    /// there is none.
    Instant::duration queueDueTimers() {
        while (!timers_.empty()) {
            const auto first = timers_.begin();
            const Instant::duration left = first->first.first - Clock::current().monotonic();
            if (left > Instant::duration::zero()) {
                return left;
            }
            tasks_.push_back([this, timer = std::move(first->second)] { fire(timer); });
            timers_.erase(first);
        }
        return {};
    }

    void fire(const std::shared_ptr<Timer::State>& timer) {
        std::unique_lock lock(lock_);
        std::shared_ptr<const Task> task = timer->task;
        if (!task) {
            return;
        }
        if (timer->period > Instant::duration::zero()) {
            // One run makes up for all runs that were missed.
            const Instant::duration late = Clock::current().monotonic() - timer->due;
            timer->due += timer->period * (late / timer->period + 1);
            insert(timer);
        } else {
            timer->task.reset();
        }
        lock.unlock();
        (*task)();
    }

    /// An exception of a task, out of memory for example, does not keep other tasks from running.
    static void perform(Task task) {
        try {
            task();
        } catch (const ThreadEnd&) {
            throw;
        } catch (...) {
        }
    }

    const char* const name_;
    std::mutex lock_;
    std::condition_variable wakeUp_;
    std::condition_variable becameIdle_;
    std::deque<Task> tasks_;
    std::deque<Task> tasksAtRest_;
    std::map<std::pair<Instant, std::uint64_t>, std::shared_ptr<Timer::State>> timers_;
    std::uint64_t idleAsked_ = 0;
    std::uint64_t idleAnswered_ = 0;
    bool started_ = false;
    bool hasTold_ = false; ///< the log says that a callback ended a thread
};

TaskThread& workThread() {
    static auto& thread =
        *new PerProcess<TaskThread>([] { return std::make_unique<TaskThread>("kiv-work"); });
    return thread.get();
}

TaskThread& mainThread() {
    static auto& thread =
        *new PerProcess<TaskThread>([] { return std::make_unique<TaskThread>("kiv-main"); });
    return thread.get();
}

/// The duration, held between zero and a century so that the present time can be added without overflow.
Instant::duration durationOf(double seconds) {
    constexpr double century = 3.2e9;
    const double within = std::isnan(seconds) ? 0 : std::clamp(seconds, 0.0, century);
    return std::chrono::duration_cast<Instant::duration>(std::chrono::duration<double>(within));
}

thread_local const void* currentStrand = nullptr;

} // namespace

SerialQueue::SerialQueue() : strand_(std::make_shared<Strand>()) {}

std::function<void()> SerialQueue::inside(std::function<void()> task) const {
    return [strand = strand_, task = std::move(task)] {
        struct Current {
            explicit Current(const void* strand) { currentStrand = strand; }
            ~Current() { currentStrand = nullptr; }
        } const current(strand.get());
        task();
    };
}

// One thread runs the tasks of all queues in the order in which they are posted, so each queue keeps its
// order too.
void SerialQueue::post(std::function<void()> task) { workThread().post(inside(std::move(task))); }

void SerialQueue::postAtRest(std::function<void()> task) { workThread().postAtRest(inside(std::move(task))); }

bool SerialQueue::isCurrent() const { return currentStrand == strand_.get(); }

Timer::Timer(double seconds, bool repeats, std::function<void()> task) : state_(std::make_shared<State>()) {
    const Instant::duration interval = durationOf(seconds);
    state_->task = std::make_shared<const Task>(std::move(task));
    state_->due = Clock::current().monotonic() + interval;
    if (repeats) {
        state_->period = std::max<Instant::duration>(interval, std::chrono::microseconds(100));
    }
    workThread().add(state_);
}

Timer::~Timer() { cancel(); }
Timer::Timer(Timer&&) noexcept = default;

Timer& Timer::operator=(Timer&& other) noexcept {
    if (this != &other) {
        cancel();
        state_ = std::move(other.state_);
    }
    return *this;
}

void Timer::cancel() {
    if (state_) {
        workThread().cancel(*state_);
    }
}

void Timer::timePassed() { workThread().waitUntilIdle(); }

bool isOnWorkThread() noexcept { return runningThread == &workThread(); }

void postToMainQueue(std::function<void()> task) {
    if (const auto host = KIVHost::current(); host->mainQueue) {
        host->mainQueue(std::move(task));
    } else {
        mainThread().post(std::move(task));
    }
}

} // namespace kiv
