#include "KivxLanguage/KivxExperimentsExtensions.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include <kiv/KIVException.h>

#include "KivxLanguage/KivxParser.h"
#include "KivxLanguage/KivxStack.h"
#include "KivxLanguage/KivxTrace.h"
#include "Platform/Crypto/Digest.h"

namespace {

void note(std::string_view what, const KivxValue& value) {
    if (KivxTrace* trace = KivxTrace::current()) {
        trace->noted(what, KivxValue(value).owned());
    }
}

/// Joins two texts where the account has room for them; nothing when they are no texts, or too long for it.
std::optional<KivxValue::BorrowedText> joinedInRoom(KivxAccount& account, const KivxValue& first,
                                                    const KivxValue& second) {
    const auto a = first.text();
    const auto b = second.text();
    char* const room = a && b ? account.room(a->size() + 1 + b->size()) : nullptr;
    if (!room) {
        return std::nullopt;
    }
    char* end = std::ranges::copy(*a, room).out;
    *end++ = '.';
    end = std::ranges::copy(*b, end).out;
    return KivxValue::BorrowedText{{room, end}};
}

void mergeSeed(KivxStack& stack) {
    if (const auto seed = joinedInRoom(stack.account(), stack.first(), stack.second())) {
        stack.charge(seed->text.size());
        stack.answer(2, *seed);
        return;
    }
    std::string seed;
    stack.first().describeTo(seed);
    seed += '.';
    stack.second().describeTo(seed);
    stack.charge(seed.size());
    stack.answer(2, KivxValue(std::move(seed)));
}

/// The bucket of a seed.
double bucketOf(KivxStack& stack, const KivxValue& seed) {
    const auto text = seed.text();
    if (!text) {
        throw KIVException::unrecognizedOperation("A seed is expected to be a text");
    }
    stack.charge(text->size());
    const double bucket = KivxExperimentsExtensions::bucketFrom(*text);
    note("seed", seed);
    note("bucket", bucket);
    return bucket;
}

void isInPercentage(KivxStack& stack) {
    stack.chargeReading(stack.first());
    const double bucket = bucketOf(stack, stack.second());
    stack.answer(2, stack.first().doubleValue() >= bucket);
}

void isInPercentageRange(KivxStack& stack) {
    const KivxValue low = stack.pop();
    const KivxValue high = stack.pop();
    stack.chargeReading(low);
    stack.chargeReading(high);
    const double bucket = bucketOf(stack, stack.first());
    const double end = high.doubleValue();
    stack.answer(1, bucket >= low.doubleValue() && end > bucket);
}

// A value that is not a text names no flag and no target group.

void flagValue(KivxStack& stack, const KivxFlagValueSource& flags, const EvaluationContext& context) {
    const KivxValue name = stack.pop();
    stack.chargeReading(name);
    note("flag", name);
    std::optional<std::string> value = name.text() ? flags.valueOfFlag(*name.text(), context) : std::nullopt;
    stack.charge(value ? value->size() : 0);
    stack.push(value ? KivxValue(std::move(*value)) : KivxValue::borrowed("false"));
}

void isInTargetGroup(KivxStack& stack, const KivxTargetGroupSource& groups, const KivxParser& parser,
                     std::string_view flagName) {
    const KivxValue identifier = stack.pop();
    stack.chargeReading(identifier);
    note("targetGroup", identifier);
    stack.push(identifier.text() && groups.isInTargetGroup(*identifier.text(), parser, flagName));
}

void isTargetGroupPaired(KivxStack& stack, const KivxTargetGroupSource& groups) {
    const KivxValue identifier = stack.pop();
    stack.chargeReading(identifier);
    stack.push(identifier.text() && groups.isTargetGroupPaired(*identifier.text()));
}

} // namespace

KivxExperimentsExtensions::KivxExperimentsExtensions(
    KivxParser& parser, std::shared_ptr<const KivxTargetGroupSource> targetGroups,
    std::shared_ptr<const KivxFlagValueSource> flags)
    : parser_(parser), targetGroups_(std::move(targetGroups)), flags_(std::move(flags)) {}

void KivxExperimentsExtensions::extend() {
    parser_.setOperator("mergeSeed", mergeSeed);
    parser_.setOperator("isInPercentage", isInPercentage);
    parser_.setOperator("isInPercentageRange", isInPercentageRange);
    parser_.setOperator("flagValue", [flags = flags_](const KivxParser&, KivxStack& stack, std::string_view,
                                                      const EvaluationContext& context) {
        flagValue(stack, *flags, context);
    });
    parser_.setOperator("isInTargetGroup",
                        [groups = targetGroups_](const KivxParser& parser, KivxStack& stack,
                                                 std::string_view flagName, const EvaluationContext&) {
                            isInTargetGroup(stack, *groups, parser, flagName);
                        });
    parser_.setOperator("isTargetGroupPaired",
                        [groups = targetGroups_](KivxStack& stack) { isTargetGroupPaired(stack, *groups); });
}

double KivxExperimentsExtensions::bucketFrom(std::string_view seed) {
    const std::uint32_t number = kiv::md5Start(seed.substr(0, seed.find('\0')));
    const double bucket = number / static_cast<double>(maxUIntegerValue());
    return bucket == 1.0 ? 0.0 : bucket;
}
