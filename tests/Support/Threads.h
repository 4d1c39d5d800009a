#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

/// Runs the task on so many threads at once, each with its number from 0, and waits for them.
inline void onThreads(int count, const std::function<void(int)>& task) {
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back(task, number);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// Does the work while so many threads do the task over and over.
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

/// Whether the condition comes true before long.
inline bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 1000 && !condition(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
}
