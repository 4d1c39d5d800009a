#include "Platform/Snapshots/Epoch.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <mutex>
#include <vector>

#include "Platform/Threads/Fork.h"

namespace kiv {

namespace {

struct Retired {
    std::uint64_t epoch;
    std::function<void()> destroy;
};

struct Registry {
    std::mutex lock;
    std::deque<Retired> retired; ///< in the order of their epochs
};

// Never destroyed: guards open and close until the process is gone.
Registry& registry() {
    static Registry& instance = *new Registry;
    return instance;
}

thread_local unsigned heldWriterLocks = 0;

std::uint64_t oldestOpenEpoch() {
    std::uint64_t oldest = std::numeric_limits<std::uint64_t>::max();
    for (const ThreadSlot* slot = firstThreadSlot(); slot; slot = slot->next) {
        const std::uint64_t epoch = slot->epoch.load(std::memory_order_seq_cst);
        if (epoch != 0) {
            oldest = std::min(oldest, epoch);
        }
    }
    return oldest;
}

/// Takes out the objects that no open guard can have seen. The caller holds `all.lock`.
std::vector<Retired> takeUnseen(Registry& all) {
    const std::uint64_t oldest = oldestOpenEpoch();
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

void retire(std::function<void()> destroy) {
    Registry& all = registry();
    {
        const kiv::Lock lock(all.lock);
        all.retired.push_back({presentEpoch.fetch_add(1, std::memory_order_seq_cst), std::move(destroy)});
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
