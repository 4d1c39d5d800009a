#include "KivxLanguage/KivxBaseOperators.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <kiv/KIVException.h>

#include "KivxLanguage/KivxParser.h"
#include "KivxLanguage/KivxStack.h"
#include "KivxLanguage/Values/KivxDescription.h"
#include "KivxLanguage/Values/KivxNumbers.h"
#include "Platform/Crypto/Base64.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/System/Clock.h"
#include "Platform/Text/Text.h"

namespace {

bool booleanOf(KivxStack& stack, const KivxValue& value) {
    stack.chargeReading(value);
    return value.boolValue();
}

/// False for `undefined`.
bool booleanOrFalse(KivxStack& stack, const KivxValue& value) {
    return !value.isUndefined() && booleanOf(stack, value);
}

void isUndefined(KivxStack& stack) { stack.push(stack.pop().isUndefined()); }

void now(KivxStack& stack) {
    using Milliseconds = std::chrono::duration<double, std::milli>;
    stack.push(Milliseconds(kiv::Clock::current().now().time_since_epoch()).count());
}

void tsToNum(KivxStack& stack) {
    const KivxValue value = stack.pop();
    if (const KIVDate* date = value.date()) {
        stack.push(std::chrono::duration_cast<std::chrono::seconds>(date->time_since_epoch()).count());
    } else {
        stack.push(value.isNone() ? KivxValue(0) : KivxValue::undefined());
    }
}

void logicalAnd(KivxStack& stack) {
    const bool first = booleanOf(stack, stack.first());
    const bool second = booleanOf(stack, stack.second());
    stack.answer(2, first && second);
}

void logicalOr(KivxStack& stack) {
    const bool first = booleanOf(stack, stack.first());
    const bool second = booleanOf(stack, stack.second());
    stack.answer(2, first || second);
}

void logicalNot(KivxStack& stack) { stack.answer(1, !booleanOrFalse(stack, stack.first())); }

template <bool wanted>
void equals(KivxStack& stack) {
    const KivxValue no = false; // what an `undefined` argument counts as
    const KivxValue& first = stack.first().isUndefined() ? no : stack.first();
    const KivxValue& second = stack.second().isUndefined() ? no : stack.second();
    stack.chargeComparing(first, second);
    stack.answer(2, (first == second) == wanted);
}

/// False when an argument is not a number, for "numeq" and "numne" alike.
template <bool wanted>
void equalsAsNumber(KivxStack& stack) {
    const KivxValue& first = stack.first();
    const KivxValue& second = stack.second();
    stack.chargeReading(first);
    stack.chargeReading(second);
    kiv::Number left;
    kiv::Number right;
    const bool numbers =
        KivxParser::isNumberOperand(first, left) && KivxParser::isNumberOperand(second, right);
    stack.answer(2, numbers && (kiv::compareNumbers(left, right) == 0) == wanted);
}

void ifThen(KivxStack& stack) {
    const bool condition = booleanOrFalse(stack, stack.first());
    stack.pop();
    KivxValue chosen = stack.pop();
    KivxValue other = stack.pop();
    stack.push(std::move(condition ? chosen : other));
}

void inArray(KivxStack& stack) {
    const KivxValue& value = stack.first();
    const auto elements = stack.second().elements();
    if (!elements && !stack.second().isNone()) {
        throw KIVException::unrecognizedOperation("A value '" + kiv::shortDescription(stack.second()) +
                                                  "' has no elements");
    }
    stack.answer(2, elements && std::ranges::find(*elements, value) != elements->end());
}

void md5(KivxStack& stack) {
    const KivxValue value = stack.pop();
    if (value.isUndefined() || value.isNone()) {
        stack.push(KivxValue::undefined());
        return;
    }
    std::string own;
    std::string_view text = value.text() ? *value.text() : own = value.description();
    text = text.substr(0, text.find('\0'));
    stack.charge(text.size());
    stack.push(kiv::md5Hex(text));
}

void concat(KivxStack& stack) {
    const KivxValue first = stack.pop();
    const KivxValue second = stack.pop();
    if (first.isUndefined() || second.isUndefined()) {
        stack.push(KivxValue::undefined());
        return;
    }
    std::string text;
    first.describeTo(text);
    second.describeTo(text);
    stack.charge(text.size());
    stack.push(std::move(text));
}

void b64d(KivxStack& stack) {
    const KivxValue value = stack.pop();
    if (value.isUndefined() || value.isNone()) {
        stack.push(KivxValue::undefined());
        return;
    }
    if (!value.text()) {
        throw KIVException::unrecognizedOperation("A value '" + kiv::shortDescription(value) +
                                                  "' is no text to decode");
    }
    stack.charge(value.text()->size());
    std::optional<std::string> text = kiv::decodeBase64(*value.text());
    if (text && kiv::isValidUtf8(*text)) {
        stack.push(std::move(*text));
    } else {
        stack.push(KivxValue::undefined());
    }
}

} // namespace

void KivxBaseOperators::extend() {
    parser_.setOperator("isUndefined", isUndefined);
    parser_.setOperator("now", now);
    parser_.setOperator("tsToNum", tsToNum);
    parser_.setOperator("and", logicalAnd);
    parser_.setOperator("or", logicalOr);
    parser_.setOperator("ne", equals<false>);
    parser_.setOperator("numne", equalsAsNumber<false>);
    parser_.setOperator("eq", equals<true>);
    parser_.setOperator("numeq", equalsAsNumber<true>);
    parser_.setOperator("not", logicalNot);
    parser_.setOperator("ifThen", ifThen);
    parser_.setOperator("inArray", inArray);
    parser_.setOperator("md5", md5);
    parser_.setOperator("concat", concat);
    parser_.setOperator("b64d", b64d);
}
