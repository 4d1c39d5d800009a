#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <forward_list>
#include <memory>
#include <string>
#include <type_traits>
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

    /// Room for a text that lasts as long as the account; null when `bytes` are not left of it.
    char* room(std::size_t bytes) {
        if (bytes > sizeof room_ - roomTaken_) {
            return nullptr;
        }
        roomTaken_ += bytes;
        return room_ + roomTaken_ - bytes;
    }

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
    std::size_t roomTaken_ = 0;
    char room_[256];
};

/// The stack of values of one evaluation. Values are made where they lie: to make a value elsewhere and move
/// it here costs more than most operators do.
class KivxStack {
public:
    explicit KivxStack(KivxAccount& account) : account_(account) {}
    KivxStack(const KivxStack&) = delete;
    KivxStack& operator=(const KivxStack&) = delete;

    /// `none` is pushed as `undefined`.
    void push(KivxValue&& value) { values_.push_back(orUndefined(std::move(value))); }
    void push(const KivxValue& value) { push(KivxValue(value)); }
    template <class Plain>
    requires std::is_arithmetic_v<Plain> || std::same_as<Plain, KivxValue::BorrowedText> ||
        std::same_as<Plain, KivxValue::Elements>
    void push(Plain value) { values_.emplace_back(value); }

    /// Removes and returns the top value; `none` when the stack is empty.
    KivxValue pop() { return recorded_ ? popRecorded() : take(); }

    /// An operator's arguments where they lie: what the first, the second and the third `pop` would return.
    const KivxValue& first() const { return fromTop(1); }
    const KivxValue& second() const { return fromTop(2); }
    const KivxValue& third() const { return fromTop(3); }

    /// Removes the operator's `count` arguments and pushes its result, which must not borrow from them.
    template <class Result>
    void answer(std::size_t count, Result result) {
        if (recorded_ || values_.size() < count) {
            for (; count > 0; --count) {
                pop();
            }
            push(std::move(result));
            return;
        }
        for (; count > 1; --count) {
            values_.pop_back();
        }
        std::destroy_at(&values_.back());
        if constexpr (std::same_as<Result, KivxValue>) {
            std::construct_at(&values_.back(), orUndefined(std::move(result)));
        } else {
            std::construct_at(&values_.back(), result);
        }
    }

    /// Makes the top value independent of what it borrows from.
    void ownTop() {
        if (!values_.empty()) {
            values_.back() = std::move(values_.back()).owned();
        }
    }

    std::size_t size() const { return values_.size(); }

    /// The value at an index, counted from the bottom.
    const KivxValue& at(std::size_t index) const { return values_[index]; }

    /// Removes all values.
    void clear() { values_.clear(); }

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

    /// Room for the elements of an array; it lasts as long as the stack. Each of them must be given a value
    /// that owns nothing.
    KivxValue* roomForElements(std::size_t count) {
        if (count > inlineElements - elementsTaken_) {
            return arrays_.emplace_front(count).data();
        }
        KivxValue* const room = room_.elements + elementsTaken_;
        elementsTaken_ += count;
        return room;
    }

    /// From now on each `pop` also appends a copy of the value to `popped`; null ends the recording.
    void record(std::vector<KivxValue>* popped) { recorded_ = popped; }

    /// The values from the bottom up, for the log.
    std::string description() const;

private:
    static constexpr std::size_t freeText = 256;
    static const KivxValue none_;
    static constexpr std::size_t inlineElements = 16;

    union Room {
        Room() {}
        ~Room() {}
        KivxValue elements[inlineElements];
    };

    const KivxValue& fromTop(std::size_t place) const {
        return values_.size() < place ? none_ : values_[values_.size() - place];
    }

    static KivxValue&& orUndefined(KivxValue&& value) {
        if (value.isNone()) {
            value = KivxValue::undefined();
        }
        return std::move(value);
    }

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
    std::forward_list<KivxValue::Array> arrays_;
    std::size_t elementsTaken_ = 0;
    Room room_;
};
