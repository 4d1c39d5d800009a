#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <boost/container/small_vector.hpp>

#include <kiv/KivxValue.h>

/// How many bytes of text one read may still handle; a read starts with 64 MiB. An evaluation and all
/// evaluations inside it share one account, so that no expression can keep its reader busy without end.
class KivxAccount {
public:
    /// Takes `bytes` off the account: for text that an operator is about to read or make, or for other work.
    /// Throws when less than `bytes` is left.
    void charge(std::size_t bytes);

    /// The bytes that are left.
    std::size_t rest() const { return rest_; }

private:
    std::size_t rest_ = std::size_t{64} << 20;
};

/// The stack of values of one evaluation.
class KivxStack {
public:
    explicit KivxStack(KivxAccount& account) : account_(account) {}

    /// `none` is pushed as `undefined`.
    void push(KivxValue&& value) {
        values_.push_back(value.isNone() ? KivxValue::undefined() : std::move(value));
    }
    void push(const KivxValue& value) { push(KivxValue(value)); }
    void push(std::same_as<bool> auto value) { values_.emplace_back(value); }

    /// Removes and returns the top value; `none` when the stack is empty.
    KivxValue pop() { return recorded_ ? popRecorded() : take(); }

    /// The top value; null when the stack is empty.
    const KivxValue* peek() const { return values_.empty() ? nullptr : &values_.back(); }

    std::size_t size() const { return values_.size(); }

    /// The value at an index, counted from the bottom.
    const KivxValue& at(std::size_t index) const { return values_[index]; }

    void charge(std::size_t bytes) { account_.charge(bytes); }
    KivxAccount& account() { return account_; }

    /// From now on each `pop` also appends a copy of the value to `popped`; null ends the recording.
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
