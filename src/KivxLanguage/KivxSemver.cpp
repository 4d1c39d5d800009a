#include "KivxLanguage/KivxSemver.h"

#include "Platform/Text/Text.h"

std::string_view normalizedSemver(std::string_view text) {
    while (text.ends_with(".0")) {
        text.remove_suffix(2);
    }
    return text;
}

int semverCompare(std::string_view version, std::string_view other) {
    return kiv::compareNumerically(normalizedSemver(version), normalizedSemver(other));
}
