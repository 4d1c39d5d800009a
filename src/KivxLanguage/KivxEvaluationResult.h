#pragma once

#include <algorithm>
#include <chrono>
#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include <kiv/KivxValue.h>

/// The result of an evaluation: a value that owns its text; `none` when the evaluation failed or the
/// expression was empty. The conversions are those of `KivxValue`, and throw like them; an integer beyond the
/// range of the requested type becomes the nearest end of the range.
class KivxEvaluationResult {
public:
    explicit KivxEvaluationResult(KivxValue value) : value_(std::move(value)) {}

    const KivxValue& value() const& { return value_; }
    KivxValue&& value() && { return std::move(value_); }
    void setValue(KivxValue value) { value_ = std::move(value); }

    std::optional<std::string> stringValue() const& { return value_.stringValue(); }
    std::optional<std::string> stringValue() && { return std::move(value_).stringValue(); }

    /// The date; for any other value, its integer value as seconds since 1970. A moment beyond the range of
    /// `KIVDate` becomes the nearest end of the range.
    KIVDate dateValue() const {
        if (const KIVDate* date = value_.date()) {
            return *date;
        }
        constexpr auto earliest = std::chrono::duration_cast<std::chrono::seconds>(KIVDate::duration::min());
        constexpr auto latest = std::chrono::duration_cast<std::chrono::seconds>(KIVDate::duration::max());
        return KIVDate(std::clamp(std::chrono::seconds(value_.integerValue()), earliest, latest));
    }

    /// True for a boolean only: 1 and true are told apart.
    bool isBoolNumber() const { return value_.isBoolean(); }

    bool boolValue() const { return value_.boolValue(); }
    char charValue() const { return static_cast<char>(saturated<signed char>()); }
    unsigned char unsignedCharValue() const { return saturated<unsigned char>(); }
    short shortValue() const { return saturated<short>(); }
    unsigned short unsignedShortValue() const { return saturated<unsigned short>(); }
    int intValue() const { return saturated<int>(); }
    unsigned int unsignedIntValue() const { return saturated<unsigned int>(); }
    long longValue() const { return saturated<long>(); }
    unsigned long unsignedLongValue() const { return saturated<unsigned long>(); }
    long long longLongValue() const { return saturated<long long>(); }
    unsigned long long unsignedLongLongValue() const { return saturated<unsigned long long>(); }
    std::int64_t integerValue() const { return value_.integerValue(); }
    std::uint64_t unsignedIntegerValue() const { return saturated<std::uint64_t>(); }
    float floatValue() const { return static_cast<float>(value_.doubleValue()); }
    double doubleValue() const { return value_.doubleValue(); }

private:
    template <std::integral Integer>
    Integer saturated() const {
        using Limits = std::numeric_limits<Integer>;
        // A double beyond the signed range of 64 bits may be within the unsigned one.
        if (const double* real = value_.real(); real && *real >= 0x1p63) {
            return *real < static_cast<double>(Limits::max()) ? static_cast<Integer>(*real) : Limits::max();
        }
        const std::int64_t number = value_.integerValue();
        if (std::in_range<Integer>(number)) {
            return static_cast<Integer>(number);
        }
        return number < 0 ? Limits::min() : Limits::max();
    }

    KivxValue value_;
};
