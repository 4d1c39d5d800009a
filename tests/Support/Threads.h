#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "Support/Patience.h"

/// Runs `task` on `count` threads at once and waits for them. Each passes its number, from 0, to the task.
inline void onThreads(int count, const std::function<void(int)>& task) {
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back(task, number);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// Runs `work` once, while `count` other threads repeat `task`.
inline void besideThreads(int count, const std::function<void()>& task, const std::function<void()>& work) {
    std::atomic<bool> done = false;
    onThreads(count + 1, [&](int number) {
        if (number == count) {
            work();
            done = true;
        }
        while (!done) {
            task();
        }
    });
}

/// Asks for the condition every 5 milliseconds until it holds. False when it does not hold in time.
inline bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}
