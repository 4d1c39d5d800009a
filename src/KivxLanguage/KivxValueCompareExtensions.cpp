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

template <const auto& trueResultFor>
void compareAsNumbers(KivxStack& stack) {
    KivxValueCompareExtensions::compareStackTop(stack, trueResultFor, false, true);
}

template <const auto& trueResultFor>
void compareAsVersions(KivxStack& stack) {
    KivxValueCompareExtensions::compareStackTop(stack, trueResultFor, true, false);
}

} // namespace

void KivxValueCompareExtensions::extend() {
    parser_.setOperator("lt", compareAsNumbers<firstIsLess>);
    parser_.setOperator("lte", compareAsNumbers<firstIsLessOrEqual>);
    parser_.setOperator("gt", compareAsNumbers<firstIsGreater>);
    parser_.setOperator("gte", compareAsNumbers<firstIsGreaterOrEqual>);
    parser_.setOperator("semverEq", compareAsVersions<equal>);
    parser_.setOperator("semverNe", compareAsVersions<different>);
    parser_.setOperator("semverLt", compareAsVersions<firstIsLess>);
    parser_.setOperator("semverLte", compareAsVersions<firstIsLessOrEqual>);
    parser_.setOperator("semverGt", compareAsVersions<firstIsGreater>);
    parser_.setOperator("semverGte", compareAsVersions<firstIsGreaterOrEqual>);
}

void KivxValueCompareExtensions::compareStackTop(KivxStack& stack, std::span<const int> trueResultFor,
                                                 bool asSemVer, bool asNumber) {
    const KivxValue& first = stack.first();
    const KivxValue& second = stack.second();
    const bool missing = first.isNone() || second.isNone();
    if (first.isUndefined() || second.isUndefined() || (missing && !asSemVer)) {
        stack.answer(2, false);
        return;
    }
    stack.chargeReading(first);
    stack.chargeReading(second);
    const std::optional<int> outcome = asSemVer   ? compareVersions(second, first)
                                       : asNumber ? compareNumbers(second, first)
                                                  : compareValues(second, first);
    stack.answer(2, outcome && std::ranges::find(trueResultFor, *outcome) != trueResultFor.end());
}
