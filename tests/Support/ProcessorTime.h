#pragma once

#include <chrono>
#include <ctime>

/// The processor time that `work` takes on the calling thread.
template <class Work>
std::chrono::duration<double> processorTime(Work&& work) {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    };
    const auto start = now();
    work();
    return now() - start;
}

/// Ten times what the most expensive expression may take in a release build.
inline constexpr std::chrono::seconds plentyOfTime(5);
