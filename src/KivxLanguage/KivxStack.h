#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <boost/container/small_vector.hpp>

#include <kiv/KivxValue.h>

/// What an evaluation and all evaluations inside it may still handle, so that no expression can make work
/// without end.
class KivxAccount {
public:
    /// Counts bytes that an operator is about to read or to make, or work that takes as long. Throws when it
    /// would be more than 64 MiB in all.
    void charge(std::size_t bytes);

    /// In bytes.
    std::size_t rest() const { return rest_; }

private:
    std::size_t rest_ = std::size_t{64} << 20;
};

/// The values of one evaluation.
class KivxStack {
public:
    explicit KivxStack(KivxAccount& account) : account_(account) {}

    /// `none` is pushed as `undefined`.
    void push(KivxValue&& value) {
        values_.push_back(value.isNone() ? KivxValue::undefined() : std::move(value));
    }
    void push(const KivxValue& value) { push(KivxValue(value)); }
    void push(std::same_as<bool> auto value) { values_.emplace_back(value); }

    /// Removes and returns the last value; `none` when there is none.
    KivxValue pop() { return recorded_ ? popRecorded() : take(); }

    /// The last value, null when there is none.
    const KivxValue* peek() const { return values_.empty() ? nullptr : &values_.back(); }

    std::size_t size() const { return values_.size(); }
    const KivxValue& at(std::size_t index) const { return values_[index]; }

    void charge(std::size_t bytes) { account_.charge(bytes); }
    KivxAccount& account() { return account_; }

    /// From now on each `pop` also appends a copy of what it returns to `popped`, until null is given.
    void record(std::vector<KivxValue>* popped) { recorded_ = popped; }

    /// The values from the bottom up, for the log.
    std::string description() const;

private:
    KivxValue take() { return values_.empty() ? KivxValue() : takeLast(); }
    KivxValue takeLast() {
        KivxValue value = std::move(values_.back());
        values_.pop_back();
        return value;
    }
    KivxValue popRecorded();

    boost::container::small_vector<KivxValue, 12> values_;
    KivxAccount& account_;
    std::vector<KivxValue>* recorded_ = nullptr;
};
