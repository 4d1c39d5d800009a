#pragma once

#include <string_view>

/// The text without the ".0"s at its end. Borrows from the text.
std::string_view normalizedSemver(std::string_view text);

/// -1, 0 or 1 as `version` comes before, with or after `other`: both normalized, runs of digits by value.
int semverCompare(std::string_view version, std::string_view other);
