#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

#include "Support/Patience.h"

/// Values that any thread puts in, and that the test takes out in the same order.
template <class Value>
class Inbox {
public:
    void put(Value value) {
        const std::lock_guard lock(lock_);
        values_.push_back(std::move(value));
        changed_.notify_all();
    }

    /// Takes the oldest value, and waits for it when there is none yet; nullopt when none comes in time.
    std::optional<Value> next() {
        std::unique_lock lock(lock_);
        if (!changed_.wait_for(lock, patience, [&] { return !values_.empty(); })) {
            return std::nullopt;
        }
        std::optional<Value> oldest = std::move(values_.front());
        values_.pop_front();
        return oldest;
    }

    bool isEmpty() const {
        const std::lock_guard lock(lock_);
        return values_.empty();
    }

private:
    mutable std::mutex lock_;
    std::condition_variable changed_;
    std::deque<Value> values_;
};
