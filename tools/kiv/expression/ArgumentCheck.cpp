#include "expression/ArgumentCheck.h"

#include <vector>

#include "KivxLanguage/KivxTokens.h"
#include "Platform/Text/RegularExpression.h"
#include "Platform/Text/Text.h"
#include "Terminal.h"
#include "expression/TextForms.h"
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

/// Two sentences with a space between them; either may be empty.
std::string joined(std::string first, std::string_view second) {
    return first + (first.empty() || second.empty() ? "" : " ") + std::string(second);
}

Problem textAsCondition(const Token& token) {
    if (token.kind != Kind::text || token.text == KivxTrue || token.text == KivxFalse) {
        return {};
    }
    return ArgumentProblem{false,
                           "the text " + shown(token) + " always counts as " +
                               (readBoolean(token.text) ? "true" : "false"),
                           "Write true or false. " + std::string(truthOfTexts)};
}

/// Checks one argument of one operator.
class Check {
public:
    Check(const OperatorSignature& op, ArgumentKind kind, const Token& token,
          const ExpressionSetting& setting)
        : op_(op), kind_(kind), token_(token), setting_(setting) {}

    Problem run() const {
        switch (kind_) {
        case anyArgument:
            return {};
        case conditionArgument:
        case booleanArgument:
            return condition();
        case numberArgument:
            return number();
        case fractionArgument:
            return share();
        case arrayArgument:
            return token_.kind == Kind::array ? Problem() : wrong("an array", failure());
        case dateArgument:
            return ArgumentProblem{false,
                                   std::string(op_.name) + " takes a date, which only a property can give",
                                   "For anything else it gives undefined."};
        default:
            return text();
        }
    }

private:
    std::string_view failure() const { return meaningOfFailure(setting_.use); }

    Problem wrong(const std::string& wanted, std::string_view meaning, std::string_view advice = "") const {
        return ArgumentProblem{true,
                               std::string(op_.name) + " takes " + wanted + " here, not " + shown(token_),
                               joined(std::string(meaning), advice)};
    }

    /// What the operator makes of an argument that should be a text and is another literal.
    std::string_view meaningOfNoText() const {
        if (kind_ == seedArgument || kind_ == versionArgument || kind_ == base64Argument ||
            kind_ == matchArgument || kind_ == patternArgument || kind_ == patternFlagsArgument) {
            return failure();
        }
        return op_.name == "property"    ? "No property has that name: it gives undefined."
               : op_.name == "flagValue" ? "No flag has that name: it gives \"false\"."
                                         : "No target group has that name: it is always false.";
    }

    Problem text() const {
        if (isUndefined(token_) && kind_ != seedArgument) {
            return {};
        }
        if (token_.kind != Kind::text) {
            const std::string quoted = token_.kind == Kind::word && !isUndefined(token_)
                                           ? "Put it in double quotes: " + inQuotes(token_.text) + "."
                                           : "";
            return wrong("a text", meaningOfNoText(), quoted);
        }
        switch (kind_) {
        case patternArgument:
            return pattern();
        case patternFlagsArgument:
            return patternFlags();
        case targetGroupArgument:
            return targetGroup();
        case versionArgument:
            return version();
        case base64Argument:
            return base64();
        default:
            return {};
        }
    }

    Problem pattern() const {
        std::string error;
        RegularExpressionWork work{.limit = workOfARead};
        const RegularExpressionOutcome outcome = searchRegularExpression("", token_.text, {}, work, error);
        if (outcome == RegularExpressionOutcome::exhausted) {
            return wrong("a regular expression", failure(), "It cannot be used: " + error + ".");
        }
        if (outcome != RegularExpressionOutcome::badPattern) {
            return {};
        }
        std::string problem = patternProblem(token_.text, error);
        if (token_.text.empty()) {
            return ArgumentProblem{true, std::move(problem), std::string(failure())};
        }
        problem.front() = 'T';
        return wrong("a regular expression", failure(), problem + ".");
    }

    Problem patternFlags() const {
        if (token_.text.find_first_not_of("ixsmw") == token_.text.npos) {
            return {};
        }
        return ArgumentProblem{
            false, "the flags " + shown(token_) + " contain a letter without a meaning",
            "The flags are: i ignores case, x allows white space and comments in the pattern, s lets a dot "
            "match line ends, m lets ^ and $ match at each line, w uses Unicode's word boundaries."};
    }

    Problem targetGroup() const {
        const Names* known = setting_.targetGroups;
        if (!known || known->contains(token_.text)) {
            return {};
        }
        const std::vector<std::string_view> names(known->begin(), known->end());
        const std::string_view meant = closest(token_.text, names);
        return ArgumentProblem{
            true, "there is no target group " + inQuotes(token_.text) + ", so this is always false",
            meant.empty() ? "" : "Did you mean " + inQuotes(meant) + "?"};
    }

    Problem version() const {
        const auto problem = versionProblem(token_.text);
        return problem ? ArgumentProblem{false, inQuotes(token_.text) + problem->problem, problem->advice}
                       : Problem();
    }

    Problem base64() const {
        const auto problem = base64Problem(token_.text);
        return problem ? ArgumentProblem{true, inQuotes(token_.text) + problem->problem,
                                         joined("It gives undefined.", problem->advice)}
                       : Problem();
    }

    Problem number() const {
        if (isUndefined(token_) || numberOf(token_)) {
            return {};
        }
        return wrong("a number", "The comparison is always false.",
                     token_.kind == Kind::text ? adviceForNumber(token_.text) : "");
    }

    Problem share() const {
        const std::optional<double> number = numberOf(token_);
        if (!number) {
            const bool isText = token_.kind == Kind::text;
            return wrong("a number",
                         isText ? "It counts as " + doubleText(readDouble(token_.text)) + "."
                                : std::string(failure()),
                         isText ? adviceForNumber(token_.text) : "");
        }
        if (*number >= 0 && *number <= 1) {
            return {};
        }
        return ArgumentProblem{false, "a share is a number from 0 to 1, and this is " + shown(token_),
                               *number > 1 && *number <= 100 ? "Write " + doubleText(*number) + " % as " +
                                                                   doubleText(*number / 100) + "."
                                                             : ""};
    }

    Problem condition() const {
        if (token_.kind == Kind::array || token_.kind == Kind::dictionary ||
            (kind_ == booleanArgument && isUndefined(token_))) {
            return wrong("a condition", failure());
        }
        return textAsCondition(token_);
    }

    const OperatorSignature& op_;
    const ArgumentKind kind_;
    const Token& token_;
    const ExpressionSetting& setting_;
};

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
                                             const Token& argument, const ExpressionSetting& setting) {
    if (argument.kind == Kind::call) {
        return {};
    }
    return Check(op, static_cast<ArgumentKind>(op.kinds[index]), argument, setting).run();
}

std::optional<ArgumentProblem> checkWhole(const Token& literal, const ExpressionSetting& setting) {
    const bool isList = literal.kind == Kind::array || literal.kind == Kind::dictionary;
    if (setting.use == ExpressionUse::targetGroup) {
        return isList ? ArgumentProblem{true, "an array or a dictionary is neither true nor false",
                                        "Every expression that asks for this target group fails."}
                      : textAsCondition(literal);
    }
    return isList && setting.use == ExpressionUse::flag
               ? ArgumentProblem{false, "the value is an array or a dictionary, which has no text",
                                 "The flag keeps its default."}
               : Problem();
}

} // namespace kiv::tool
