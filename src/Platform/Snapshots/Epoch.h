#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

/// Snapshots that many threads read without a lock and without writing to shared memory.
///
/// A reader opens a `ReadGuard` and loads what `Published` holds; what it has loaded stays valid until the
/// guard closes. A writer publishes a new object; the old one is destroyed once no guard that could have seen
/// it is open. A guard is no lock: nobody waits for it, so callbacks of any length may run under it. All they
/// hold up is the release of memory.
namespace kiv {

struct Slot;

class ReadGuard {
public:
    ReadGuard() noexcept;
    ~ReadGuard();
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;

private:
    Slot* slot_;
};

/// Runs `destroy` once every guard that is open now has closed: on this thread, at once or when its outermost
/// `WriterLock` opens, or on a later caller. It must not throw.
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

/// Destroys what has been retired and can no longer be seen.
void collectRetired();

/// Holds a mutex while something is replaced. What is retired meanwhile is destroyed after the thread's
/// outermost lock of this kind has been given back: it may be an object of the application's, whose
/// destructor may call the library.
class WriterLock {
public:
    explicit WriterLock(std::mutex& mutex);
    ~WriterLock();
    WriterLock(const WriterLock&) = delete;
    WriterLock& operator=(const WriterLock&) = delete;

private:
    std::mutex& mutex_;
};

/// A pointer to an immutable object that one writer at a time replaces and any number of threads read.
template <class T>
class Published {
public:
    Published() = default;
    explicit Published(std::unique_ptr<const T> first) : current_(first.release()) {}

    /// Destroys the object at once: nobody may be reading any more.
    ~Published() { delete current_.load(std::memory_order_relaxed); }

    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;

    /// Valid until the caller's `ReadGuard` closes; also without a guard for the one who alone may publish.
    const T* load() const noexcept { return current_.load(std::memory_order_seq_cst); }

    void publish(std::unique_ptr<const T> next) {
        retire(std::unique_ptr<const T>(current_.exchange(next.release(), std::memory_order_seq_cst)));
    }

private:
    std::atomic<const T*> current_{nullptr};
};

} // namespace kiv
