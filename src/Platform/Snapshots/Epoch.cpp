#include "Platform/Snapshots/Epoch.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <mutex>
#include <vector>

#include "Platform/Threads/Fork.h"

namespace kiv {

/// What one thread announces: the epoch in which its outermost guard opened, 0 while none is open.
struct alignas(64) Slot {
    std::atomic<std::uint64_t> epoch{0};
    std::atomic<bool> taken{true};
    unsigned depth = 0; ///< open guards, touched by the owning thread only
    Slot* next = nullptr;
};

namespace {

struct Retired {
    std::uint64_t epoch;
    std::function<void()> destroy;
};

struct Registry {
    std::atomic<std::uint64_t> epoch{1};
    std::atomic<Slot*> slots{nullptr};
    std::mutex lock;
    std::deque<Retired> retired; ///< in the order of their epochs
};

void closeGuardsOfOtherThreads();

// Never destroyed: guards open and close until the process is gone.
Registry& registry() {
    static Registry& instance = []() -> Registry& {
        inEachForkedChild(closeGuardsOfOtherThreads);
        return *new Registry;
    }();
    return instance;
}

Slot* takeSlot() {
    Registry& all = registry();
    for (Slot* slot = all.slots.load(std::memory_order_acquire); slot; slot = slot->next) {
        bool free = false;
        if (slot->taken.compare_exchange_strong(free, true, std::memory_order_acq_rel)) {
            return slot;
        }
    }
    Slot* slot = new Slot;
    slot->next = all.slots.load(std::memory_order_relaxed);
    while (!all.slots.compare_exchange_weak(slot->next, slot, std::memory_order_acq_rel)) {
    }
    return slot;
}

thread_local Slot* threadSlot = nullptr;
thread_local bool threadEnded = false;
thread_local unsigned heldWriterLocks = 0;

struct SlotReturner {
    ~SlotReturner() {
        Slot* slot = threadSlot;
        threadSlot = nullptr;
        threadEnded = true;
        if (slot && slot->depth == 0) {
            slot->taken.store(false, std::memory_order_release);
        }
    }
};

Slot* slotOfThread() {
    if (!threadSlot) {
        threadSlot = takeSlot();
        // A guard that is opened after this thread's returner was destroyed keeps its slot, because nobody is
        // left to return the slot.
        if (!threadEnded) {
            thread_local SlotReturner returner;
        }
    }
    return threadSlot;
}

/// In a child after a fork the other threads are gone. Their guards would keep everything that is retired.
void closeGuardsOfOtherThreads() {
    for (Slot* slot = registry().slots.load(std::memory_order_acquire); slot; slot = slot->next) {
        if (slot != threadSlot) {
            slot->epoch = 0;
            slot->depth = 0;
            slot->taken = false;
        }
    }
}

std::uint64_t oldestOpenEpoch(const Registry& all) {
    std::uint64_t oldest = std::numeric_limits<std::uint64_t>::max();
    for (const Slot* slot = all.slots.load(std::memory_order_acquire); slot; slot = slot->next) {
        const std::uint64_t epoch = slot->epoch.load(std::memory_order_seq_cst);
        if (epoch != 0) {
            oldest = std::min(oldest, epoch);
        }
    }
    return oldest;
}

/// Takes out the objects that no open guard can have seen. The caller holds `all.lock`.
std::vector<Retired> takeUnseen(Registry& all) {
    const std::uint64_t oldest = oldestOpenEpoch(all);
    std::vector<Retired> unseen;
    while (!all.retired.empty() && all.retired.front().epoch < oldest) {
        unseen.push_back(std::move(all.retired.front()));
        all.retired.pop_front();
    }
    return unseen;
}

void destroyAll(std::vector<Retired>& unseen) {
    for (Retired& item : unseen) {
        item.destroy();
    }
}

} // namespace

// The announcement must be visible before anything is loaded under the guard, and a publisher scans the
// announcements after it has replaced the object: with both sides sequentially consistent, a guard that the
// scan misses loads the new object.
ReadGuard::ReadGuard() noexcept : slot_(slotOfThread()) {
    if (slot_->depth++ == 0) {
        slot_->epoch.store(registry().epoch.load(std::memory_order_seq_cst), std::memory_order_seq_cst);
    }
}

ReadGuard::~ReadGuard() {
    if (--slot_->depth == 0) {
        slot_->epoch.store(0, std::memory_order_release);
    }
}

void retire(std::function<void()> destroy) {
    Registry& all = registry();
    {
        const kiv::Lock lock(all.lock);
        all.retired.push_back({all.epoch.fetch_add(1, std::memory_order_seq_cst), std::move(destroy)});
    }
    if (heldWriterLocks == 0) {
        collectRetired();
    }
}

WriterLock::WriterLock(std::mutex& mutex) {
    lock_.emplace(mutex);
    ++heldWriterLocks;
}

WriterLock::~WriterLock() {
    lock_.reset();
    if (--heldWriterLocks == 0) {
        collectRetired();
    }
}

void collectRetired() {
    Registry& all = registry();
    std::vector<Retired> unseen;
    {
        const kiv::Lock lock(all.lock);
        unseen = takeUnseen(all);
    }
    destroyAll(unseen);
}

} // namespace kiv
