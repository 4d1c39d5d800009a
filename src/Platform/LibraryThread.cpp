#include "Platform/LibraryThread.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <vector>

#include <openssl/crypto.h>
#include <pthread.h>
#include <unistd.h>

namespace kiv {
namespace {

struct LibraryThread {
    const char* name;
    std::function<void()> run;
    std::function<void()> interrupt;
    std::chrono::milliseconds patience;
    bool halted = false; ///< guarded by `Threads::lock`
};

struct Threads {
    std::mutex lock;
    std::condition_variable someHalted;
    std::vector<std::shared_ptr<LibraryThread>> all;
    std::atomic<bool> ending{false};
    const pid_t process = getpid();
};

thread_local LibraryThread* ownThread = nullptr;

void haltAll();

Threads& threads() {
    static Threads& all = []() -> Threads& {
        // Exit handlers run from the last to the first: ours has to come after OpenSSL's, which the first
        // initialisation with any option registers.
        OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
        std::atexit(haltAll);
        return *new Threads;
    }();
    return all;
}

void haltAll() {
    Threads& own = threads();
    if (own.process != getpid()) {
        return; // a child after a fork
    }
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
        own.someHalted.wait_until(lock, start + thread->patience,
                                  [&] { return thread->halted || thread.get() == ownThread; });
    }
}

[[noreturn]] void halt() {
    {
        const std::lock_guard lock(threads().lock);
        ownThread->halted = true;
    }
    threads().someHalted.notify_all();
    // Returning would run the destructors of thread-local objects, perhaps of libraries that are gone.
    for (;;) {
        pause();
    }
}

void* threadMain(void* argument) {
    const std::unique_ptr<std::shared_ptr<LibraryThread>> thread(
        static_cast<std::shared_ptr<LibraryThread>*>(argument));
    LibraryThread& own = **thread;
    ownThread = &own;
    pthread_setname_np(pthread_self(), own.name);
    own.run();
    halt();
}

bool startDetached(std::unique_ptr<std::shared_ptr<LibraryThread>> thread) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return false;
    }
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    sigset_t every;
    sigset_t before;
    sigfillset(&every);
    pthread_sigmask(SIG_SETMASK, &every, &before);
    pthread_t identifier;
    const bool started = pthread_create(&identifier, &attributes, threadMain, thread.get()) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
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
    if (own.ending || !startDetached(std::make_unique<std::shared_ptr<LibraryThread>>(thread))) {
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
