#pragma once

#include <atomic>
#include <forward_list>
#include <functional>
#include <memory>
#include <mutex>

#include "Platform/Threads/ThreadSlot.h"

/// What a fork means for the library.
///
/// A child has the memory of its parent, and only the thread that forked. A mutex that another thread held
/// would be held there for ever; so a fork waits, for two seconds at most, until no other thread is inside a
/// `ForkShield`. The child then leaves the parent's threads, tasks, timers and connections behind. It is
/// silent: no thread starts, tasks and requests are dropped and no file is written, until `endForkSilence`.
namespace kiv {

/// How many threads are in the midst of a fork.
inline constinit std::atomic<int> forksUnderWay{0};

/// While one is open on a thread, a fork by another thread waits. For short work: inside, nothing waits for
/// another thread, and no callback of the application runs but the log sink. A thread may open several, one
/// inside the other.
class ForkShield {
public:
    ForkShield() : slot_(threadSlot()) {
        if (slot_.shields++ == 0) {
            slot_.isShielded.store(true, std::memory_order_seq_cst);
            if (forksUnderWay.load(std::memory_order_seq_cst) > 0) {
                waitForForks();
            }
        }
    }
    ~ForkShield() {
        if (--slot_.shields == 0) {
            slot_.isShielded.store(false, std::memory_order_release);
        }
    }
    ForkShield(const ForkShield&) = delete;
    ForkShield& operator=(const ForkShield&) = delete;

private:
    void waitForForks() const noexcept;

    ThreadSlot& slot_;
};

/// Holds a mutex inside a `ForkShield`. What a child uses is guarded by this or by a `WriterLock`.
class Lock {
public:
    explicit Lock(std::mutex& mutex) : lock_(mutex) {}

private:
    const ForkShield shield_; ///< opened before the mutex is locked, closed after it is free
    const std::lock_guard<std::mutex> lock_;
};

/// From now on, each child of this process runs `task` before its fork returns, in the order of the calls.
/// The task may allocate memory and must not wait.
void inEachForkedChild(std::function<void()> task);

/// An object of which each process has its own: a child after a fork gets a new one. What the parent's object
/// was doing is the parent's; it keeps its memory in the child, where nobody touches it.
template <class T>
class PerProcess {
public:
    /// Never destroy it. `make` runs now, and in each child before its fork returns.
    explicit PerProcess(std::function<std::unique_ptr<T>()> make) : make_(std::move(make)) {
        renew();
        inEachForkedChild([this] { renew(); });
    }

    T& get() const noexcept { return *current_.load(std::memory_order_acquire); }

private:
    void renew() {
        all_.push_front(make_());
        current_.store(all_.front().get(), std::memory_order_release);
    }

    const std::function<std::unique_ptr<T>()> make_;
    std::forward_list<std::unique_ptr<T>> all_; ///< the objects of this process and of its parents
    std::atomic<T*> current_{nullptr};
};

/// Whether this process is a child after a fork that has not called `endForkSilence`. Callable from any
/// thread.
bool isSilentFork() noexcept;
void endForkSilence() noexcept;

/// How many forks lie between the first process and this one. What another thread had begun at a lower count,
/// nobody goes on with. Callable from any thread.
unsigned forkCount() noexcept;

} // namespace kiv
