#pragma once

#include <atomic>
#include <cstdint>

namespace kiv {

/// What one thread tells all others: of its `ReadGuard`s (Snapshots/Epoch.h) and its `ForkShield`s (Fork.h).
/// It has a cache line of its own, so that threads do not disturb each other. Slots are never freed; that of
/// a thread that has ended is another thread's later.
struct alignas(64) ThreadSlot {
    std::atomic<std::uint64_t> epoch{0}; ///< in which the outermost guard opened; 0 while none is open
    std::atomic<bool> isShielded{false}; ///< whether a shield is open
    std::atomic<bool> isTaken{true};     ///< whether a thread has this slot
    unsigned guards = 0;                 ///< open ones; touched by the thread alone, as is `shields`
    unsigned shields = 0;
    ThreadSlot* next = nullptr;
};

inline constinit thread_local ThreadSlot* presentThreadSlot = nullptr;

/// Gives the calling thread a slot, and takes it back when the thread ends.
ThreadSlot& takeThreadSlot();

/// The slot of the calling thread.
inline ThreadSlot& threadSlot() { return presentThreadSlot ? *presentThreadSlot : takeThreadSlot(); }

/// The first of all slots, which `next` chains; null when there is none. Callable from any thread.
ThreadSlot* firstThreadSlot() noexcept;

/// In a child after a fork, where the other threads are gone: closes their guards and shields.
void clearOtherThreadSlots() noexcept;

} // namespace kiv
