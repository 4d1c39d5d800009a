#include <chrono>
#include <cstdio>
#include <thread>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

int fail(const char* what) {
    const char* reason = dlerror();
    std::fprintf(stderr, "%s failed: %s\n", what, reason ? reason : "no reason given");
    return 1;
}

/// Loads the plug-in, uses it on a thread of its own, and unloads it again.
int useOnce(const char* path) {
    void* plugin = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    auto* use = plugin ? reinterpret_cast<int (*)()>(dlsym(plugin, "usePlugin")) : nullptr;
    if (!use) {
        return fail("loading the plug-in");
    }
    int result = 1;
    std::thread([&] { result = use(); }).join();
    return result != 0 || dlclose(plugin) != 0 ? fail("using and unloading the plug-in") : 0;
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

/// Uses a plug-in several times. Whatever the library leaves behind must do no harm once the plug-in is
/// closed.
int main(int count, char** arguments) {
    for (int round = 0; count == 2 && round < 5; ++round) {
        if (useOnce(arguments[1]) != 0 || forkOnce() != 0) {
            return 1;
        }
        // Gives threads that the library may have left running time to touch memory that is gone.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return count == 2 ? 0 : 2;
}
