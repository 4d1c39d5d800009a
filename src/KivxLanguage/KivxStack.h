#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <boost/container/small_vector.hpp>

#include <kiv/KivxValue.h>

/// The values of one evaluation. Also keeps its account of text, so that no expression can make work without end.
class KivxStack {
public:
    /// `none` is pushed as `undefined`.
    void push(KivxValue&& value);
    void push(const KivxValue& value) { push(KivxValue(value)); }

    /// Removes and returns the last value; `none` when there is none.
    KivxValue pop() {
        KivxValue value;
        if (!values_.empty()) {
            value = std::move(values_.back());
            values_.pop_back();
        }
        if (recorded_) {
            recorded_->push_back(value);
        }
        return value;
    }

    /// The last value, null when there is none.
    const KivxValue* peek() const { return values_.empty() ? nullptr : &values_.back(); }

    std::size_t size() const { return values_.size(); }
    const KivxValue& at(std::size_t index) const { return values_[index]; }

    /// Counts bytes that an operator is about to read or to make. Throws when one evaluation asks for more than 64 MiB.
    void charge(std::size_t bytes);

    /// From now on each `pop` also appends a copy of what it returns to `popped`, until null is given.
    void record(std::vector<KivxValue>* popped) { recorded_ = popped; }

    /// The values from the bottom up, for the log.
    std::string description() const;

private:
    boost::container::small_vector<KivxValue, 12> values_;
    std::size_t charged_ = 0;
    std::vector<KivxValue>* recorded_ = nullptr;
};
