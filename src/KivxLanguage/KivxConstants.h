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
    if (kiv::sameText(word, KivxTrue)) {
        take(true);
    } else if (kiv::sameText(word, KivxFalse)) {
        take(false);
    } else if (kiv::sameText(word, KivxUndefined)) {
        take(KivxValue::undefined());
    } else if (const std::optional<kiv::Number> number = kiv::parseNumber(word)) {
        std::visit(take, *number);
    } else {
        return false;
    }
    return true;
}
