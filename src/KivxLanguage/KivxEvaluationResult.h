#pragma once

#include <optional>
#include <string>
#include <utility>

#include <kiv/KivxValue.h>

/// What an evaluation answered: a value of its own, or `none` for a failed or empty evaluation. The
/// conversions are those of the value.
class KivxEvaluationResult {
public:
    explicit KivxEvaluationResult(KivxValue value) : value_(std::move(value)) {}

    const KivxValue& value() const& { return value_; }
    KivxValue&& value() && { return std::move(value_); }
    void setValue(KivxValue value) { value_ = std::move(value); }

    std::optional<std::string> stringValue() const& { return value_.stringValue(); }
    std::optional<std::string> stringValue() && { return std::move(value_).stringValue(); }

    /// The date itself, else the integer value as seconds since 1970.
    KIVDate dateValue() const;

    /// True for a boolean only: 1 and true are told apart.
    bool isBoolNumber() const { return value_.isBoolean(); }

    bool boolValue() const { return value_.boolValue(); }
    char charValue() const { return static_cast<char>(value_.integerValue()); }
    unsigned char unsignedCharValue() const { return static_cast<unsigned char>(value_.integerValue()); }
    short shortValue() const { return static_cast<short>(value_.integerValue()); }
    unsigned short unsignedShortValue() const { return static_cast<unsigned short>(value_.integerValue()); }
    int intValue() const { return static_cast<int>(value_.integerValue()); }
    unsigned int unsignedIntValue() const { return static_cast<unsigned int>(value_.integerValue()); }
    long longValue() const { return static_cast<long>(value_.integerValue()); }
    unsigned long unsignedLongValue() const { return static_cast<unsigned long>(value_.integerValue()); }
    long long longLongValue() const { return value_.integerValue(); }
    unsigned long long unsignedLongLongValue() const {
        return static_cast<unsigned long long>(value_.integerValue());
    }
    std::int64_t integerValue() const { return value_.integerValue(); }
    std::uint64_t unsignedIntegerValue() const { return static_cast<std::uint64_t>(value_.integerValue()); }
    float floatValue() const { return static_cast<float>(value_.doubleValue()); }
    double doubleValue() const { return value_.doubleValue(); }

private:
    KivxValue value_;
};
