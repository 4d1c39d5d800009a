#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <boost/container/small_vector.hpp>

#include <kiv/KivxValue.h>

/// How many bytes of text one read may still handle; a read starts with 64 MiB. An evaluation and all
/// evaluations inside it share one account, so that no expression can keep its reader busy without end: a
/// byte stands for at most six nanoseconds of work, so that a read takes half a second at most.
class KivxAccount {
public:
    /// Takes `bytes` off the account: for text that an operator is about to read or make, or for other work.
    /// Throws when less than `bytes` is left; then nothing is left, so that the evaluations outside this one
    /// fail as well when they need more.
    void charge(std::size_t bytes) {
        if (bytes > rest_) {
            refuse();
        }
        rest_ -= bytes;
    }

    /// The bytes that are left.
    std::size_t rest() const { return rest_; }

    /// Tells this account from all others of its thread; never 0.
    std::uint64_t number() {
        number_ = number_ != 0 ? number_ : ++lastNumber_;
        return number_;
    }

private:
    [[noreturn]] void refuse();

    static inline constinit thread_local std::uint64_t lastNumber_ = 0;

    std::size_t rest_ = std::size_t{64} << 20;
    std::uint64_t number_ = 0; ///< 0 until somebody asks for it
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

    /// For an operator that reads `value` to its end. Short texts are free.
    void chargeReading(const KivxValue& value) {
        if (const std::size_t size = textSize(value); size > freeText) {
            charge(size);
        }
    }

    /// For an operator that compares two values byte by byte, which takes less time than reading them. An
    /// array or a dictionary is free: it stands in the expression, which is charged as a whole.
    void chargeComparing(const KivxValue& a, const KivxValue& b) {
        if (const std::size_t size = std::min(textSize(a), textSize(b)); size > freeText) {
            charge(size / 8);
        }
    }

    KivxAccount& account() { return account_; }

    /// From now on each `pop` also appends a copy of the value to `popped`; null ends the recording.
    void record(std::vector<KivxValue>* popped) { recorded_ = popped; }

    /// The values from the bottom up, for the log.
    std::string description() const;

private:
    static constexpr std::size_t freeText = 256;

    static std::size_t textSize(const KivxValue& value) { return value.text().value_or("").size(); }

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
