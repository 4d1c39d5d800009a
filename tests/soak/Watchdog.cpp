#include "Watchdog.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>

#include <execinfo.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

struct Slot {
    std::atomic<const char*> what{nullptr};
    std::atomic<Clock::rep> begun{0};
    std::atomic<pid_t> thread{0};
};
std::array<Slot, 64> slots;
std::atomic<std::size_t> used{0};
std::atomic<std::int64_t> slowest{0};
std::atomic<int> codeOfChild{0};

Slot& ownSlot() {
    thread_local Slot& slot = slots.at(used++);
    return slot;
}

void writeStack(int) {
    std::array<void*, 64> frames{};
    const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
    backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
}

void writeStacks() {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        const pid_t thread = std::stoi(entry.path().filename().string());
        std::fprintf(stderr, "-- thread %d", thread);
        for (const char* name : {"comm", "wchan", "syscall"}) {
            std::ifstream file(entry.path() / name);
            std::string line;
            std::getline(file, line);
            std::fprintf(stderr, "  %s: %s", name, line.c_str());
        }
        std::fprintf(stderr, "\n");
        // The library's threads block every signal: of them, the lines above are all there is.
        syscall(SYS_tgkill, getpid(), thread, SIGUSR2);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

void watch(std::chrono::seconds limit) {
    for (;;) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        for (const Slot& slot : slots) {
            const char* what = slot.what;
            if (what && Clock::now().time_since_epoch() - Clock::duration(slot.begun) > limit) {
                std::fprintf(stderr, "HANG: %s on thread %d takes more than %lld seconds\n", what,
                             slot.thread.load(), static_cast<long long>(limit.count()));
                writeStacks();
                std::abort();
            }
        }
    }
}

} // namespace

void Watchdog::start(std::chrono::seconds limit) {
    std::array<void*, 1> frame{};
    backtrace(frame.data(), 1); // loads what it needs, which a signal handler must not do
    std::signal(SIGUSR2, writeStack);
    std::thread(watch, limit).detach();
}

void Watchdog::endChildAfter(unsigned seconds, int exitCode) {
    codeOfChild = exitCode;
    std::signal(SIGALRM, [](int signal) {
        constexpr std::string_view title = "A child after a fork hangs:\n";
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, title.data(), title.size());
        writeStack(signal);
        _exit(codeOfChild);
    });
    alarm(seconds);
}

std::chrono::nanoseconds Watchdog::slowestRead() { return std::chrono::nanoseconds(slowest); }

Watchdog::Operation::Operation(const char* what, bool isRead) : begun_(Clock::now()), isRead_(isRead) {
    Slot& slot = ownSlot();
    slot.thread = static_cast<pid_t>(syscall(SYS_gettid));
    slot.begun = begun_.time_since_epoch().count();
    slot.what = what;
}

Watchdog::Operation::~Operation() {
    ownSlot().what = nullptr;
    const std::int64_t taken = std::chrono::nanoseconds(Clock::now() - begun_).count();
    for (std::int64_t seen = slowest;
         isRead_ && taken > seen && !slowest.compare_exchange_weak(seen, taken);) {
    }
}
