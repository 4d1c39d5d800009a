#pragma once

#include <string_view>

#include "Platform/Text/Text.h"

/// The text without the ".0"s at its end. Borrows from the text.
inline std::string_view normalizedSemver(std::string_view text) {
    while (text.ends_with(".0")) {
        text.remove_suffix(2);
    }
    return text;
}

/// -1, 0 or 1 as `version` comes before, with or after `other`: both normalized, runs of digits by value.
inline int semverCompare(std::string_view version, std::string_view other) {
    return kiv::compareNumerically(normalizedSemver(version), normalizedSemver(other));
}
