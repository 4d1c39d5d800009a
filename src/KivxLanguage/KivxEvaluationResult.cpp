#include "KivxLanguage/KivxEvaluationResult.h"

#include <algorithm>

KIVDate KivxEvaluationResult::dateValue() const {
    if (const KIVDate* date = value_.date()) {
        return *date;
    }
    // What lies beyond the range of a date is its end.
    constexpr auto earliest = std::chrono::duration_cast<std::chrono::seconds>(KIVDate::duration::min());
    constexpr auto latest = std::chrono::duration_cast<std::chrono::seconds>(KIVDate::duration::max());
    return KIVDate(std::clamp(std::chrono::seconds(value_.integerValue()), earliest, latest));
}
