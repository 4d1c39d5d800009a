#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <thread>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

int fail(const char* what) {
    const char* reason = dlerror();
    std::fprintf(stderr, "%s failed: %s\n", what, reason ? reason : "no reason given");
    return 1;
}

/// Holds the library's threads back while they start, until the plug-in is closed: a thread that runs keeps
/// the object of its code loaded by itself, because it has thread-local objects, and one that starts does
/// not.
class Gate {
public:
    void close() {
        const std::lock_guard lock(lock_);
        isClosed_ = true;
    }

    void open() {
        {
            const std::lock_guard lock(lock_);
            isClosed_ = false;
        }
        changed_.notify_all();
    }

    bool isClosed() {
        const std::lock_guard lock(lock_);
        return isClosed_;
    }

    void pass() {
        std::unique_lock lock(lock_);
        changed_.wait(lock, [this] { return !isClosed_; });
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    bool isClosed_ = false;
};

Gate gate;
std::atomic<int> heldBack{0};

struct Start {
    void* (*run)(void*);
    void* argument;
};

void* runBehindGate(void* argument) {
    const Start start = *std::unique_ptr<Start>(static_cast<Start*>(argument));
    gate.pass();
    return start.run(start.argument);
}

/// Loads the plug-in, uses it on a thread of its own, and unloads it again.
int useOnce(const char* path) {
    void* plugin = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    auto* use = plugin ? reinterpret_cast<int (*)()>(dlsym(plugin, "usePlugin")) : nullptr;
    if (!use) {
        return fail("loading the plug-in");
    }
    int result = 1;
    std::thread([&] {
        gate.close();
        result = use();
    }).join();
    const bool isUnloaded = dlclose(plugin) == 0;
    gate.open();
    return result == 0 && isUnloaded ? 0 : fail("using and unloading the plug-in");
}

/// Forks, which runs the handlers that the library has set.
int forkOnce() {
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    int status = 1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0 ? 0 : fail("a fork");
}

} // namespace

/// Stands in for the system's function of this name, also for the plug-in.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                              void* argument) noexcept {
    static const auto create =
        reinterpret_cast<int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>(
            dlsym(RTLD_NEXT, "pthread_create"));
    if (!gate.isClosed()) {
        return create(thread, attributes, run, argument);
    }
    ++heldBack;
    return create(thread, attributes, runBehindGate, new Start{run, argument});
}

/// Uses a plug-in several times. Whatever the library leaves behind must do no harm once the plug-in is
/// closed.
int main(int count, char** arguments) {
    for (int round = 0; count == 2 && round < 5; ++round) {
        if (useOnce(arguments[1]) != 0 || forkOnce() != 0) {
            return 1;
        }
        // Lets the threads that were held back run.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    if (heldBack == 0) {
        return fail("holding a thread of the library back");
    }
    return count == 2 ? 0 : 2;
}
