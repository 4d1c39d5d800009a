#include "KivxLanguage/KivxValueCompareExtensions.h"

#include <algorithm>
#include <compare>
#include <optional>
#include <string_view>

#include <kiv/KIVException.h>

#include "KivxLanguage/KivxParser.h"
#include "KivxLanguage/KivxSemver.h"
#include "KivxLanguage/KivxStack.h"
#include "KivxLanguage/Values/KivxNumbers.h"

namespace {

// Outcomes of comparing the second argument with the first.
constexpr int equal[] = {0};
constexpr int different[] = {1, -1};
constexpr int firstIsLess[] = {1};
constexpr int firstIsLessOrEqual[] = {1, 0};
constexpr int firstIsGreater[] = {-1};
constexpr int firstIsGreaterOrEqual[] = {-1, 0};

int compareVersions(const KivxValue& a, const KivxValue& b) {
    if (!a.text() || !b.text()) {
        throw KIVException::unrecognizedOperation("A version is expected to be a text");
    }
    return semverCompare(*a.text(), *b.text());
}

/// Nothing when one of the values is not a number, or is NaN.
std::optional<int> compareNumbers(const KivxValue& a, const KivxValue& b) {
    kiv::Number left;
    kiv::Number right;
    if (!KivxParser::isNumberOperand(a, left) || !KivxParser::isNumberOperand(b, right)) {
        return std::nullopt;
    }
    const std::partial_ordering order = kiv::compareNumbers(left, right);
    if (order == std::partial_ordering::unordered) {
        return std::nullopt;
    }
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

int compareValues(const KivxValue& a, const KivxValue& b) {
    const KivxValue::Less less;
    return less(a, b) ? -1 : less(b, a) ? 1 : 0;
}

} // namespace

void KivxValueCompareExtensions::extend() {
    const auto numbers = [](std::span<const int> trueResultFor) {
        return [=](KivxStack& stack) { compareStackTop(stack, trueResultFor, false, true); };
    };
    const auto versions = [](std::span<const int> trueResultFor) {
        return [=](KivxStack& stack) { compareStackTop(stack, trueResultFor, true, false); };
    };
    parser_.setOperator("lt", numbers(firstIsLess));
    parser_.setOperator("lte", numbers(firstIsLessOrEqual));
    parser_.setOperator("gt", numbers(firstIsGreater));
    parser_.setOperator("gte", numbers(firstIsGreaterOrEqual));
    parser_.setOperator("semverEq", versions(equal));
    parser_.setOperator("semverNe", versions(different));
    parser_.setOperator("semverLt", versions(firstIsLess));
    parser_.setOperator("semverLte", versions(firstIsLessOrEqual));
    parser_.setOperator("semverGt", versions(firstIsGreater));
    parser_.setOperator("semverGte", versions(firstIsGreaterOrEqual));
}

void KivxValueCompareExtensions::compareStackTop(KivxStack& stack, std::span<const int> trueResultFor,
                                                 bool asSemVer, bool asNumber) {
    const KivxValue first = stack.pop();
    const KivxValue second = stack.pop();
    const bool missing = first.isNone() || second.isNone();
    if (first.isUndefined() || second.isUndefined() || (missing && !asSemVer)) {
        stack.push(false);
        return;
    }
    stack.chargeReading(first);
    stack.chargeReading(second);
    const std::optional<int> outcome = asSemVer   ? compareVersions(second, first)
                                       : asNumber ? compareNumbers(second, first)
                                                  : compareValues(second, first);
    stack.push(outcome && std::ranges::find(trueResultFor, *outcome) != trueResultFor.end());
}
