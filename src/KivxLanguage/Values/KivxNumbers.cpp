#include "KivxLanguage/Values/KivxNumbers.h"

#include <cmath>
#include <variant>

namespace kiv {

std::partial_ordering compareNumbers(const Number& a, const Number& b) {
    const auto* leftInteger = std::get_if<std::int64_t>(&a);
    const auto* rightInteger = std::get_if<std::int64_t>(&b);
    if (leftInteger && rightInteger) {
        return *leftInteger <=> *rightInteger;
    }
    if (!leftInteger && !rightInteger) {
        return std::get<double>(a) <=> std::get<double>(b);
    }
    if (!leftInteger) {
        return 0 <=> compareNumbers(b, a);
    }
    // An integer against a double, exactly. A double of 2^63 or more is greater than every integer. A smaller
    // one has a whole part that is an integer, and when that equals the other integer, the fraction decides.
    const double real = std::get<double>(b);
    if (std::isnan(real)) {
        return std::partial_ordering::unordered;
    }
    if (real >= 0x1p63) {
        return std::partial_ordering::less;
    }
    if (real < -0x1p63) {
        return std::partial_ordering::greater;
    }
    const double whole = std::trunc(real);
    const auto truncated = static_cast<std::int64_t>(whole);
    return *leftInteger != truncated ? *leftInteger <=> truncated : whole <=> real;
}

} // namespace kiv
