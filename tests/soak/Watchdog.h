#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

/// Finds operations that hang. `start` makes a thread that aborts the process when an operation takes longer
/// than the limit, after it has written the stacks of the application's threads to standard error, and what
/// the kernel knows of all threads.
class Watchdog {
public:
    static void start(std::chrono::seconds limit);

    /// Ends the present process, a child after a fork, with `exitCode` if it still runs after the time, and
    /// writes the stack of its thread.
    static void endChildAfter(unsigned seconds, int exitCode);

    /// The longest operation so far that is a read.
    static std::chrono::nanoseconds slowestRead();

    /// An operation of the present thread, from construction to destruction. `what` is a literal.
    class Operation {
    public:
        explicit Operation(const char* what, bool isRead = false);
        ~Operation();
        Operation(const Operation&) = delete;
        Operation& operator=(const Operation&) = delete;

    private:
        const std::chrono::steady_clock::time_point begun_;
        const bool isRead_;
    };
};
