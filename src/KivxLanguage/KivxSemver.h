#pragma once

#include <string_view>

#include "Platform/Text/Text.h"

/// The text without any ".0" at its end: "1" for "1.0.0". Borrows the text.
inline std::string_view normalizedSemver(std::string_view text) {
    while (text.ends_with(".0")) {
        text.remove_suffix(2);
    }
    return text;
}

/// -1, 0 or 1 when `version` is less than, equal to or greater than `other`. Both are normalized first; runs
/// of digits compare by value, all else by code point.
inline int semverCompare(std::string_view version, std::string_view other) {
    return kiv::compareNumerically(normalizedSemver(version), normalizedSemver(other));
}
