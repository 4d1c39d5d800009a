#include "KivxLanguage/KivxRegularExpressionExtensions.h"

#include <kiv/KIVException.h>

#include "KivxLanguage/KivxParser.h"
#include "KivxLanguage/KivxStack.h"
#include "Platform/Text/RegularExpression.h"

namespace {

/// The bytes that are charged for a search in addition to its texts and its work.
constexpr std::size_t chargeOfSearch = std::size_t{1} << 10;

/// The units of work of a search that are charged as one byte.
constexpr std::uint64_t workOfByte = 6;

kiv::RegularExpressionOptions optionsOf(std::string_view flags) {
    const auto has = [flags](char flag) { return flags.find(flag) != flags.npos; };
    return {.caseInsensitive = has('i'),
            .comments = has('x'),
            .dotMatchesLineSeparators = has('s'),
            .anchorsMatchLines = has('m'),
            .unicodeWordBoundaries = has('w')};
}

/// Pushes 1 or 0, or false when an argument is `undefined`.
void match(KivxStack& stack) {
    const KivxValue& text = stack.first();
    const KivxValue& pattern = stack.second();
    const KivxValue& flags = stack.third();
    if (text.isUndefined() || pattern.isUndefined() || flags.isUndefined()) {
        stack.answer(3, false);
        return;
    }
    // A missing third argument means no flags.
    if (!text.text() || !pattern.text() || (!flags.text() && !flags.isNone())) {
        throw KIVException::unrecognizedOperation("A match is expected to be of texts");
    }
    stack.charge(chargeOfSearch + text.text()->size() + pattern.text()->size());
    stack.chargeReading(flags);
    std::string error;
    kiv::RegularExpressionWork work{.limit = workOfByte * stack.account().rest(),
                                    .reader = stack.account().number()};
    const auto outcome = kiv::searchRegularExpression(*text.text(), *pattern.text(),
                                                      optionsOf(flags.text().value_or("")), work, error);
    stack.charge(work.taken / workOfByte);
    switch (outcome) {
    case kiv::RegularExpressionOutcome::match:
        stack.answer(3, 1);
        return;
    case kiv::RegularExpressionOutcome::noMatch:
        stack.answer(3, 0);
        return;
    case kiv::RegularExpressionOutcome::badPattern:
        throw KIVException::invalidArgument("Expected a regular expression, but failed with error: " + error);
    case kiv::RegularExpressionOutcome::exhausted:
        throw KIVException::internalInconsistency("The search for a pattern takes too long: " + error);
    }
}

} // namespace

void KivxRegularExpressionExtensions::extend() { parser_.setOperator("match", match); }
