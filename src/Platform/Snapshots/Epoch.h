#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "Platform/Threads/Fork.h"
#include "Platform/Threads/ThreadSlot.h"

/// Snapshots that many threads read without a lock and without writing to shared memory.
///
/// A reader opens a `ReadGuard` and loads the object that a `Published` holds; the object stays valid until
/// the guard closes. A writer publishes a new object; the old one is destroyed once no guard that could have
/// seen it is open. A guard is no lock: nobody waits for it, so callbacks of any length may run while it is
/// open. They only delay the release of memory.
namespace kiv {

/// Counts the objects that were retired, from 1.
inline constinit std::atomic<std::uint64_t> presentEpoch{1};

/// Open from its making to its destruction. A thread may open several, one inside the other.
class ReadGuard {
public:
    // The announcement must be visible before anything is loaded under the guard, and a publisher scans the
    // announcements after it has replaced the object: with both sides sequentially consistent, a guard that
    // the scan misses loads the new object.
    ReadGuard() noexcept : slot_(threadSlot()) {
        if (slot_.guards++ == 0) {
            slot_.epoch.store(presentEpoch.load(std::memory_order_seq_cst), std::memory_order_seq_cst);
        }
    }
    ~ReadGuard() {
        if (--slot_.guards == 0) {
            slot_.epoch.store(0, std::memory_order_release);
        }
    }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;

private:
    ThreadSlot& slot_;
};

/// Runs `destroy`, which must not throw, once every guard that is open now has closed. When none is open, it
/// runs on this thread: at once or, if the thread holds a `WriterLock`, when it has released its outermost
/// one. Otherwise it runs on a thread that calls `retire` or `collectRetired` later.
void retire(std::function<void()> destroy);

template <class T>
void retire(std::unique_ptr<T> object) {
    if (object) {
        retire([raw = object.release()] { delete raw; });
    }
}

template <class T>
void retire(std::shared_ptr<T> object) {
    if (object) {
        retire([kept = std::move(object)]() mutable { kept.reset(); });
    }
}

/// Destroys the retired objects that no open guard can have seen.
void collectRetired();

/// Holds a mutex while an object is replaced. Objects that the thread retires meanwhile are destroyed after
/// it has released its outermost `WriterLock`: they may belong to the application, and their destructors may
/// call the library.
class WriterLock {
public:
    explicit WriterLock(std::mutex& mutex);
    ~WriterLock();
    WriterLock(const WriterLock&) = delete;
    WriterLock& operator=(const WriterLock&) = delete;

private:
    std::optional<Lock> lock_;
};

/// A pointer to an immutable object that one writer at a time replaces and any number of threads read.
template <class T>
class Published {
public:
    Published() = default;
    explicit Published(std::unique_ptr<const T> first) : current_(first.release()) {}

    /// Destroys the object at once: no thread may be reading it.
    ~Published() { delete current_.load(std::memory_order_relaxed); }

    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;

    /// The present object; null before the first one. Valid until the caller's `ReadGuard` closes. A thread
    /// needs no guard if no other thread may publish.
    const T* load() const noexcept { return current_.load(std::memory_order_seq_cst); }

    /// Puts `next` in place of the present object, and retires that one.
    void publish(std::unique_ptr<const T> next) {
        retire(std::unique_ptr<const T>(current_.exchange(next.release(), std::memory_order_seq_cst)));
    }

private:
    std::atomic<const T*> current_{nullptr};
};

} // namespace kiv
