#include "Platform/Threads/LibraryThread.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <openssl/crypto.h>
#include <pthread.h>
#include <unistd.h>

#include "Platform/Threads/Fork.h"
#include "Platform/Threads/ThreadEnd.h"

namespace kiv {
namespace {

struct LibraryThread {
    const char* name;
    std::function<void()> run;
    std::function<void()> interrupt;
    std::chrono::milliseconds patience;
    pthread_t identifier{};
    // Guarded by `Threads::lock`:
    bool halted = false; ///< the thread does nothing any more but wait for the end of the process
    bool left = false;   ///< its `run` has returned, and the thread is about to end
};

struct Threads {
    std::mutex lock;
    std::condition_variable someHalted;
    std::vector<std::shared_ptr<LibraryThread>> all;
    std::atomic<bool> ending{false};
};

thread_local LibraryThread* ownThread = nullptr;

void haltAll();

/// Waits, for at most `patience`, until a thread whose `run` has returned has ended.
void join(const LibraryThread& thread, std::chrono::milliseconds patience) {
    const auto until = std::chrono::system_clock::now().time_since_epoch() + patience;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(until);
    const timespec deadline{.tv_sec = seconds.count(),
                            .tv_nsec = std::chrono::nanoseconds(until - seconds).count()};
    pthread_timedjoin_np(thread.identifier, nullptr, &deadline);
}

Threads& threads() {
    static const PerProcess<Threads>& all = []() -> const PerProcess<Threads>& {
        // Exit handlers run in the reverse order of their registration. Ours runs before OpenSSL's, which
        // this initialisation registers.
        OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
        std::atexit(haltAll);
        return *new PerProcess<Threads>(std::make_unique<Threads>);
    }();
    return all.get();
}

void haltAll() {
    Threads& own = threads();
    const auto start = std::chrono::steady_clock::now();
    own.ending = true;
    std::unique_lock lock(own.lock);
    const auto started = own.all;
    lock.unlock();
    for (const auto& thread : started) {
        thread->interrupt();
    }
    lock.lock();
    for (const auto& thread : started) {
        own.someHalted.wait_until(lock, start + thread->patience, [&] {
            return thread->halted || thread->left || thread.get() == ownThread;
        });
        if (thread->left && thread.get() != ownThread) {
            join(*thread, thread->patience);
        }
    }
}

/// Removes the threads that have ended. The caller holds `own.lock`.
void forgetEnded(Threads& own) {
    std::erase_if(own.all, [](const auto& thread) {
        return thread->left && pthread_tryjoin_np(thread->identifier, nullptr) == 0;
    });
}

/// Whether the calling thread may end. It must not end while the process is ending, because the destructors
/// of its thread-local objects would then run, perhaps in libraries that are gone.
bool leave() {
    Threads& own = threads();
    const std::lock_guard lock(own.lock);
    ownThread->left = !own.ending;
    return ownThread->left;
}

[[noreturn]] void halt() {
    {
        const std::lock_guard lock(threads().lock);
        ownThread->halted = true;
    }
    threads().someHalted.notify_all();
    for (;;) {
        pause();
    }
}

void leaveOrHalt() {
    if (!leave()) {
        halt();
    }
}

void* threadMain(void* argument) {
    const std::unique_ptr<std::shared_ptr<LibraryThread>> thread(
        static_cast<std::shared_ptr<LibraryThread>*>(argument));
    LibraryThread& own = **thread;
    ownThread = &own;
    pthread_setname_np(pthread_self(), own.name);
    // Otherwise a thread that a callback cancels would end later, in the midst of the library's own work.
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    try {
        std::exchange(own.run, {})();
    } catch (const ThreadEnd&) {
        leaveOrHalt();
        throw;
    }
    leaveOrHalt();
    return nullptr;
}

bool start(std::unique_ptr<std::shared_ptr<LibraryThread>> thread) {
    sigset_t every;
    sigset_t before;
    sigfillset(&every);
    pthread_sigmask(SIG_SETMASK, &every, &before);
    const bool started = pthread_create(&(*thread)->identifier, nullptr, threadMain, thread.get()) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (started) {
        thread.release();
    }
    return started;
}

} // namespace

bool startLibraryThread(const char* name, std::function<void()> run, std::function<void()> interrupt,
                        std::chrono::milliseconds patience) {
    Threads& own = threads();
    auto thread =
        std::make_shared<LibraryThread>(LibraryThread{name, std::move(run), std::move(interrupt), patience});
    const std::lock_guard lock(own.lock);
    if (own.ending || isSilentFork()) {
        return false;
    }
    forgetEnded(own);
    if (!start(std::make_unique<std::shared_ptr<LibraryThread>>(thread))) {
        return false;
    }
    own.all.push_back(std::move(thread));
    return true;
}

void haltIfProcessEnds() noexcept {
    if (ownThread && processIsEnding()) {
        halt();
    }
}

bool processIsEnding() noexcept { return threads().ending; }

} // namespace kiv
