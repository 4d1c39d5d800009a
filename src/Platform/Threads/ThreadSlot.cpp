#include "Platform/Threads/ThreadSlot.h"

namespace kiv {
namespace {

constinit std::atomic<ThreadSlot*> first{nullptr};
thread_local bool threadEnded = false;

ThreadSlot* freeOrNewSlot() {
    for (ThreadSlot* slot = firstThreadSlot(); slot; slot = slot->next) {
        bool isTaken = false;
        if (slot->isTaken.compare_exchange_strong(isTaken, true, std::memory_order_acq_rel)) {
            return slot;
        }
    }
    auto* slot = new ThreadSlot;
    slot->next = first.load(std::memory_order_relaxed);
    while (!first.compare_exchange_weak(slot->next, slot, std::memory_order_acq_rel)) {
    }
    return slot;
}

struct SlotReturner {
    ~SlotReturner() {
        ThreadSlot* slot = presentThreadSlot;
        presentThreadSlot = nullptr;
        threadEnded = true;
        if (slot && slot->guards == 0 && slot->shields == 0) {
            slot->isTaken.store(false, std::memory_order_release);
        }
    }
};

} // namespace

ThreadSlot& takeThreadSlot() {
    presentThreadSlot = freeOrNewSlot();
    // After this thread's returner was destroyed, nobody is left to return the slot.
    if (!threadEnded) {
        thread_local SlotReturner returner;
    }
    return *presentThreadSlot;
}

ThreadSlot* firstThreadSlot() noexcept { return first.load(std::memory_order_acquire); }

void clearOtherThreadSlots() noexcept {
    for (ThreadSlot* slot = firstThreadSlot(); slot; slot = slot->next) {
        if (slot != presentThreadSlot) {
            slot->epoch = 0;
            slot->isShielded = false;
            slot->guards = 0;
            slot->shields = 0;
            slot->isTaken = false;
        }
    }
}

} // namespace kiv
