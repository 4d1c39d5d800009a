#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace kiv::tool {

/// An operator as an author of expressions knows it.
struct OperatorSignature {
    std::string_view name;
    /// One letter for each argument, see `ArgumentKind`.
    std::string_view kinds;
    std::string_view usage; ///< a call with names for its arguments

    constexpr std::size_t arity() const { return kinds.size(); }
};

/// What an argument must be for the operator to make sense of it.
enum ArgumentKind : char {
    anyArgument = 'v',
    conditionArgument = 'c', ///< `undefined` counts as false
    booleanArgument = 'b',   ///< `undefined` fails the evaluation
    numberArgument = 'n',    ///< a number, or a text that reads as one
    fractionArgument = 'p',  ///< a number from 0 to 1
    textArgument = 't',      ///< a name, of a property, flag or target group
    matchArgument = 'm',
    versionArgument = 'e',
    base64Argument = '6',
    seedArgument = 's', ///< a text, and not `undefined`
    patternArgument = 'r',
    patternFlagsArgument = 'f',
    arrayArgument = 'a',
    dateArgument = 'd',
    targetGroupArgument = 'g',
};

inline constexpr OperatorSignature operatorSignatures[] = {
    {"isUndefined", "v", "isUndefined(value)"},
    {"now", "", "now()"},
    {"tsToNum", "d", "tsToNum(date)"},
    {"and", "bb", "and(first, second)"},
    {"or", "bb", "or(first, second)"},
    {"ne", "vv", "ne(first, second)"},
    {"numne", "nn", "numne(first, second)"},
    {"eq", "vv", "eq(first, second)"},
    {"numeq", "nn", "numeq(first, second)"},
    {"not", "c", "not(condition)"},
    {"ifThen", "cvv", "ifThen(condition, then, else)"},
    {"inArray", "va", "inArray(value, array)"},
    {"md5", "v", "md5(text)"},
    {"concat", "vv", "concat(first, second)"},
    {"b64d", "6", "b64d(text)"},
    {"lt", "nn", "lt(first, second)"},
    {"lte", "nn", "lte(first, second)"},
    {"gt", "nn", "gt(first, second)"},
    {"gte", "nn", "gte(first, second)"},
    {"semverEq", "ee", "semverEq(first, second)"},
    {"semverNe", "ee", "semverNe(first, second)"},
    {"semverLt", "ee", "semverLt(first, second)"},
    {"semverLte", "ee", "semverLte(first, second)"},
    {"semverGt", "ee", "semverGt(first, second)"},
    {"semverGte", "ee", "semverGte(first, second)"},
    {"match", "mrf", "match(text, pattern, flags)"},
    {"mergeSeed", "vv", "mergeSeed(seed, value)"},
    {"isInPercentage", "ps", "isInPercentage(share, seed)"},
    {"isInPercentageRange", "pps", "isInPercentageRange(low, high, seed)"},
    {"flagValue", "t", "flagValue(flag)"},
    {"isInTargetGroup", "g", "isInTargetGroup(group)"},
    {"isTargetGroupPaired", "t", "isTargetGroupPaired(group)"},
    {"property", "t", "property(name)"},
};

/// Null when there is no operator of that name.
constexpr const OperatorSignature* operatorSignature(std::string_view name) {
    const auto* found = std::ranges::find(operatorSignatures, name, &OperatorSignature::name);
    return found == std::end(operatorSignatures) ? nullptr : found;
}

} // namespace kiv::tool
