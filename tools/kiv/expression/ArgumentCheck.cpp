#include "expression/ArgumentCheck.h"

#include <algorithm>
#include <vector>

#include "KivxLanguage/KivxTokens.h"
#include "Platform/Text/RegularExpression.h"
#include "Platform/Text/Text.h"
#include "Terminal.h"
#include "expression/Words.h"

namespace kiv::tool {
namespace {

using Problem = std::optional<ArgumentProblem>;
using Kind = Token::Kind;

bool isUndefined(const Token& token) { return token.kind == Kind::word && token.text == KivxUndefined; }

std::string shown(const Token& token) {
    switch (token.kind) {
    case Kind::text:
        return inQuotes(token.text);
    case Kind::array:
        return "an array";
    case Kind::dictionary:
        return "a dictionary";
    default:
        return printable(token.text);
    }
}

Problem failure(const OperatorSignature& op, const std::string& wanted, const Token& token,
                std::string advice = {}) {
    return ArgumentProblem{true, std::string(op.name) + " takes " + wanted + " here, not " + shown(token),
                           advice.empty() ? "The evaluation fails: the flag keeps its default."
                                          : std::move(advice)};
}

/// An error name of the regular expression engine in words: U_REGEX_MISSING_CLOSE_BRACKET becomes "missing
/// close bracket".
std::string readable(std::string_view error) {
    constexpr std::string_view prefix = "U_REGEX_";
    std::string words = lowercasedAscii(error.substr(error.starts_with(prefix) ? prefix.size() : 0));
    std::ranges::replace(words, '_', ' ');
    return words;
}

Problem checkPattern(const OperatorSignature& op, const Token& token) {
    std::string error;
    RegularExpressionWork work{.limit = workOfARead};
    const RegularExpressionOutcome outcome = searchRegularExpression("", token.text, {}, work, error);
    if (outcome == RegularExpressionOutcome::exhausted) {
        return failure(op, "a regular expression", token, "It cannot be used: " + error + ".");
    }
    if (outcome != RegularExpressionOutcome::badPattern) {
        return {};
    }
    return failure(op, "a regular expression", token,
                   "The pattern does not compile: " + readable(error) + ".");
}

Problem checkPatternFlags(const Token& token) {
    const std::size_t unknown = token.text.find_first_not_of("ixsmw");
    if (unknown == token.text.npos) {
        return {};
    }
    return ArgumentProblem{
        false, "the flags " + shown(token) + " contain a letter without a meaning",
        "The flags are: i ignores case, x allows white space and comments in the pattern, s lets a dot match "
        "line ends, m lets ^ and $ match at each line, w uses Unicode's word boundaries."};
}

Problem checkTargetGroup(const Token& token, const Names* targetGroups) {
    if (!targetGroups || targetGroups->contains(token.text)) {
        return {};
    }
    const std::vector<std::string_view> known(targetGroups->begin(), targetGroups->end());
    const std::string_view meant = closest(token.text, known);
    return ArgumentProblem{true,
                           "there is no target group " + inQuotes(token.text) + ", so this is always false",
                           meant.empty() ? "" : "Did you mean " + inQuotes(meant) + "?"};
}

Problem checkText(ArgumentKind kind, const OperatorSignature& op, const Token& token,
                  const Names* targetGroups) {
    if (isUndefined(token) && kind != seedArgument) {
        return {};
    }
    if (token.kind != Kind::text) {
        std::string advice =
            token.kind == Kind::word ? "Put it in double quotes: " + inQuotes(token.text) + "." : "";
        return failure(op, "a text", token, std::move(advice));
    }
    switch (kind) {
    case patternArgument:
        return checkPattern(op, token);
    case patternFlagsArgument:
        return checkPatternFlags(token);
    case targetGroupArgument:
        return checkTargetGroup(token, targetGroups);
    default:
        return {};
    }
}

Problem checkNumber(ArgumentKind kind, const OperatorSignature& op, const Token& token) {
    if (isUndefined(token) && kind == numberArgument) {
        return {};
    }
    const std::optional<double> number = numberOf(token);
    if (!number) {
        return failure(op, "a number", token,
                       kind == numberArgument ? "The comparison is always false." : "");
    }
    if (kind == numberArgument || (*number >= 0 && *number <= 1)) {
        return {};
    }
    return ArgumentProblem{false, "a share is a number from 0 to 1, and this is " + shown(token),
                           *number > 1 && *number <= 100
                               ? "Write " + doubleText(*number) + " % as " + doubleText(*number / 100) + "."
                               : ""};
}

Problem checkCondition(ArgumentKind kind, const OperatorSignature& op, const Token& token) {
    const bool fails = token.kind == Kind::array || token.kind == Kind::dictionary ||
                       (kind == booleanArgument && isUndefined(token));
    return fails ? failure(op, "a condition", token) : Problem();
}

Problem checkDate(const OperatorSignature& op) {
    return ArgumentProblem{false, std::string(op.name) + " takes a date, which only a property can give",
                           "For anything else it gives undefined."};
}

} // namespace

std::optional<double> numberOf(const Token& argument) {
    if (argument.kind != Kind::text && argument.kind != Kind::word) {
        return {};
    }
    if (argument.kind == Kind::word && (argument.text == KivxTrue || argument.text == KivxFalse)) {
        return argument.text == KivxTrue ? 1 : 0;
    }
    if (!parseNumber(argument.text)) {
        return {};
    }
    return readDouble(argument.text);
}

std::optional<ArgumentProblem> checkArgument(const OperatorSignature& op, std::size_t index,
                                             const Token& argument, const Names* targetGroups) {
    if (argument.kind == Kind::call) {
        return {};
    }
    const auto kind = static_cast<ArgumentKind>(op.kinds[index]);
    switch (kind) {
    case anyArgument:
        return {};
    case conditionArgument:
    case booleanArgument:
        return checkCondition(kind, op, argument);
    case numberArgument:
    case fractionArgument:
        return checkNumber(kind, op, argument);
    case arrayArgument:
        return argument.kind == Kind::array ? Problem() : failure(op, "an array", argument);
    case dateArgument:
        return checkDate(op);
    case textArgument:
    case seedArgument:
    case patternArgument:
    case patternFlagsArgument:
    case targetGroupArgument:
        return checkText(kind, op, argument, targetGroups);
    }
    return {};
}

} // namespace kiv::tool
