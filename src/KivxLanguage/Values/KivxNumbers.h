#pragma once

#include <compare>
#include <cstdint>
#include <limits>

#include <kiv/KivxValue.h>

#include "Platform/Text/Text.h"

namespace kiv {

/// The number that a boolean, integer or double value holds.
inline Number numberOf(const KivxValue& value) {
    if (const std::int64_t* integer = value.integer()) {
        return *integer;
    }
    if (const double* real = value.real()) {
        return *real;
    }
    return static_cast<std::int64_t>(value.boolValue());
}

/// Compares by value, exactly: neither an integer nor a double is rounded. Unordered when one is NaN.
std::partial_ordering compareNumbers(const Number& a, const Number& b);

/// The double cut off towards zero and held within 64 bits; 0 for NaN.
inline std::int64_t saturated(double value) {
    if (value != value) {
        return 0;
    }
    if (value >= 0x1p63) {
        return std::numeric_limits<std::int64_t>::max();
    }
    return value < -0x1p63 ? std::numeric_limits<std::int64_t>::min() : static_cast<std::int64_t>(value);
}

} // namespace kiv
