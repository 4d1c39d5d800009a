#pragma once

#include <optional>
#include <string_view>
#include <utility>
#include <variant>

#include <kiv/KivxValue.h>

#include "KivxLanguage/KivxTokens.h"
#include "Platform/Text/ShortText.h"
#include "Platform/Text/Text.h"

/// Calls `take` with the value of a word that is a boolean, `undefined` or a number: with a `bool`, a
/// `KivxValue`, an `std::int64_t` or a `double`. False for every other word.
template <class Take>
bool takeConstant(std::string_view word, Take&& take) {
    const char first = word.empty() ? '\0' : word.front();
    if (first == '-' || first == '.' || (first >= '0' && first <= '9')) {
        const std::optional<kiv::Number> number = kiv::parseNumber(word);
        if (number) {
            std::visit(take, *number);
        }
        return number.has_value();
    }
    if (first == KivxTrue.front() && kiv::sameText(word, KivxTrue)) {
        take(true);
        return true;
    }
    if (first == KivxFalse.front() && kiv::sameText(word, KivxFalse)) {
        take(false);
        return true;
    }
    if (first == KivxUndefined.front() && kiv::sameText(word, KivxUndefined)) {
        take(KivxValue::undefined());
        return true;
    }
    return false;
}
