#include "Platform/Threads/Fork.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <thread>
#include <utility>

#include <pthread.h>

#include "Platform/System/KeepLoaded.h"

namespace kiv {
namespace {

constexpr std::chrono::seconds longestWait{2};

std::atomic<bool> isSilent{false};
std::atomic<unsigned> forks{0};

struct Tasks {
    std::mutex lock;
    std::deque<std::function<void()>> all;
};

void prepare();
void inParent();
void inChild();

/// Makes the handlers known to the system at the first use.
Tasks& tasks() {
    static Tasks& instance = []() -> Tasks& {
        keepLoaded();
        pthread_atfork(prepare, inParent, inChild);
        return *new Tasks;
    }();
    return instance;
}

void pauseBriefly() { std::this_thread::sleep_for(std::chrono::microseconds(50)); }

bool isAnotherThreadShielded() {
    for (const ThreadSlot* slot = firstThreadSlot(); slot; slot = slot->next) {
        if (slot != presentThreadSlot && slot->isShielded.load(std::memory_order_seq_cst)) {
            return true;
        }
    }
    return false;
}

void prepare() {
    forksUnderWay.fetch_add(1, std::memory_order_seq_cst);
    const auto until = std::chrono::steady_clock::now() + longestWait;
    while (isAnotherThreadShielded() && std::chrono::steady_clock::now() < until) {
        pauseBriefly();
    }
}

void inParent() { --forksUnderWay; }

void inChild() {
    forksUnderWay = 0;
    clearOtherThreadSlots();
    ++forks;
    isSilent = true;
    for (const auto& task : tasks().all) {
        task();
    }
}

} // namespace

// A thread announces its shield before it looks for forks, and a fork announces itself before it looks for
// shields. So at least one of them sees the other.
void ForkShield::waitForForks() const noexcept {
    while (forksUnderWay.load(std::memory_order_seq_cst) > 0) {
        slot_.isShielded.store(false, std::memory_order_seq_cst);
        while (forksUnderWay.load(std::memory_order_seq_cst) > 0) {
            pauseBriefly();
        }
        slot_.isShielded.store(true, std::memory_order_seq_cst);
    }
}

void inEachForkedChild(std::function<void()> task) {
    const Lock lock(tasks().lock);
    tasks().all.push_back(std::move(task));
}

bool isSilentFork() noexcept { return isSilent.load(std::memory_order_relaxed); }

void endForkSilence() noexcept { isSilent = false; }

unsigned forkCount() noexcept { return forks.load(std::memory_order_relaxed); }

} // namespace kiv
