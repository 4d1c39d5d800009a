#include "Platform/Threads/Fork.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <thread>
#include <utility>

#include <pthread.h>

namespace kiv {
namespace {

constexpr std::chrono::seconds longestWait{2};

std::atomic<int> threadsInside{0};
std::atomic<int> threadsForking{0};
std::atomic<bool> isSilent{false};
std::atomic<unsigned> forks{0};
thread_local unsigned shields = 0; ///< open on this thread

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
        pthread_atfork(prepare, inParent, inChild);
        return *new Tasks;
    }();
    return instance;
}

int ownShare() { return shields > 0 ? 1 : 0; }

void pauseBriefly() { std::this_thread::sleep_for(std::chrono::microseconds(50)); }

void prepare() {
    ++threadsForking;
    const auto until = std::chrono::steady_clock::now() + longestWait;
    while (threadsInside > ownShare() && std::chrono::steady_clock::now() < until) {
        pauseBriefly();
    }
}

void inParent() { --threadsForking; }

void inChild() {
    threadsForking = 0;
    threadsInside = ownShare();
    ++forks;
    isSilent = true;
    for (const auto& task : tasks().all) {
        task();
    }
}

} // namespace

// A thread announces itself before it looks for forks, and a fork announces itself before it looks for
// threads. So at least one of them sees the other.
ForkShield::ForkShield() noexcept {
    if (shields++ > 0) {
        return;
    }
    ++threadsInside;
    while (threadsForking > 0) {
        --threadsInside;
        while (threadsForking > 0) {
            pauseBriefly();
        }
        ++threadsInside;
    }
}

ForkShield::~ForkShield() {
    if (--shields == 0) {
        --threadsInside;
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
