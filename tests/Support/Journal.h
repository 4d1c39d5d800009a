#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Support/Patience.h"

/// Lines that any thread notes, in order.
class Journal {
public:
    void note(std::string line) {
        const std::lock_guard lock(lock_);
        lines_.push_back(std::move(line));
        changed_.notify_all();
    }

    /// Waits until `line` was noted `times` times, and no longer than `patience`. Returns all lines, joined
    /// by ", ".
    std::string waitFor(const std::string& line, std::ptrdiff_t times = 1) {
        std::unique_lock lock(lock_);
        changed_.wait_for(lock, patience,
                          [&] { return std::count(lines_.begin(), lines_.end(), line) >= times; });
        std::string all;
        for (const auto& each : lines_) {
            all += (all.empty() ? "" : ", ") + each;
        }
        return all;
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<std::string> lines_;
};
