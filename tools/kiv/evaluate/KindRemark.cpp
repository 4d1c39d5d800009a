#include "evaluate/KindRemark.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "KivxLanguage/KivxTokens.h"
#include "Platform/Text/Dates.h"
#include "Platform/Text/RegularExpression.h"
#include "Platform/Text/Text.h"
#include "Terminal.h"
#include "evaluate/StepText.h"
#include "evaluate/ValueText.h"
#include "expression/ArgumentCheck.h"
#include "expression/TextForms.h"

namespace kiv::tool {
namespace {

std::string kindOf(const KivxValue& value) {
    return value.isBoolean()    ? "a boolean"
           : value.isNumber()   ? "a number"
           : value.text()       ? "a text"
           : value.date()       ? "a date"
           : value.elements()   ? "an array"
           : value.dictionary() ? "a dictionary"
                                : "undefined";
}

/// Kinds that can equal one another have the same family.
int family(const KivxValue& value) {
    return value.isNumber()     ? 0
           : value.text()       ? 1
           : value.date()       ? 2
           : value.elements()   ? 3
           : value.dictionary() ? 4
                                : 5;
}

std::string never(const KivxValue& first, const KivxValue& second) {
    return kindOf(first) + " never equals " + kindOf(second);
}

/// The literal that is written like the text but has the kind of `other`: 5 for "5" and a number; empty when
/// there is none.
std::string literalLike(std::string_view text, const KivxValue& other) {
    if (other.isBoolean()) {
        return text == KivxTrue || text == KivxFalse ? std::string(text) : "";
    }
    return other.isNumber() && parseNumber(text) ? std::string(text) : "";
}

/// Whether the value is a text that is written like `other`, which is a number or a boolean.
bool readsAs(const KivxValue& value, const KivxValue& other) {
    const std::string literal = value.text() ? literalLike(*value.text(), other) : "";
    return !literal.empty() &&
           (other.isBoolean() ? literal == toText(other) : readDouble(literal) == other.doubleValue());
}

/// A sentence as it stands behind a colon.
std::string clause(std::string sentence) {
    if (sentence.ends_with('.')) {
        sentence.pop_back();
    }
    if (!sentence.empty() && sentence.front() >= 'A' && sentence.front() <= 'Z') {
        sentence.front() = static_cast<char>(sentence.front() - 'A' + 'a');
    }
    return sentence;
}

std::string joined(std::string problem, const std::string& advice) {
    return problem + (advice.empty() ? "" : ": " + clause(advice));
}

class Remarker {
public:
    Remarker(const RecordedEvaluation& evaluation, const RecordedStep& step)
        : evaluation_(evaluation), step_(step) {}

    std::string text() const {
        if (step_.kind != RecordedStep::Kind::call || step_.outcome != RecordedStep::Outcome::value ||
            step_.arguments.empty() || std::ranges::count(step_.arguments, RecordedStep::missing) > 0) {
            return "";
        }
        const std::string_view name = step_.name;
        if (name == "eq" || name == "ne") {
            return equality();
        }
        if (name == "numeq" || name == "numne" || name == "lt" || name == "lte" || name == "gt" ||
            name == "gte") {
            return numbers();
        }
        if (name == "ifThen" || name == "not") {
            return condition(0);
        }
        if (name == "and" || name == "or") {
            const std::string first = condition(0);
            return first.empty() ? condition(1) : first;
        }
        if (name.starts_with("semver")) {
            return versions();
        }
        return name == "inArray"                                          ? element()
               : name == "tsToNum"                                        ? date()
               : name == "b64d"                                           ? base64()
               : name == "match"                                          ? pattern()
               : name == "isInPercentage"                                 ? share(0)
               : name == "isInPercentageRange"                            ? share(share(0).empty() ? 1 : 0)
               : name == "concat" || name == "mergeSeed" || name == "md5" ? description()
                                                                          : "";
    }

private:
    const RecordedStep& argument(std::size_t index) const {
        return evaluation_.steps[step_.arguments[index]];
    }
    const KivxValue& value(std::size_t index) const { return argument(index).value; }
    std::string source(std::size_t index) const { return sourceText(evaluation_, argument(index)); }
    bool isLiteral(std::size_t index) const { return argument(index).kind == RecordedStep::Kind::literal; }

    std::string call(std::string_view name, const std::string& first, const std::string& second) const {
        return std::string(name) + "(" + first + ", " + second + ")";
    }

    std::string equality() const {
        const KivxValue& first = value(0);
        const KivxValue& second = value(1);
        const bool differ = step_.name == "eq" ? !holds(step_.value) : holds(step_.value);
        if (!differ || first.isUndefined() || second.isUndefined()) {
            return "";
        }
        if (family(first) == family(second)) {
            return isWhole(first) && isWhole(second) ? textsDiffer(*first.text(), *second.text()) : "";
        }
        return joined(never(first, second), sameKinds());
    }

    /// Whether the value is a text that was not cut when it was recorded.
    static bool isWhole(const KivxValue& value) {
        constexpr std::size_t longestCharacter = 4;
        return value.text() && value.text()->size() + longestCharacter <= RecordedStep::longestText;
    }

    static std::string textsDiffer(std::string_view first, std::string_view second) {
        if (trimmed(first) == trimmed(second)) {
            return "the texts differ in white space at their ends";
        }
        return lowercased(first) == lowercased(second) ? "upper and lower case count" : "";
    }

    /// How to compare the arguments of `eq` or `ne`, which are of different kinds; empty when there is no
    /// way.
    std::string sameKinds() const {
        for (const std::size_t text : {std::size_t{0}, std::size_t{1}}) {
            const std::size_t other = 1 - text;
            if (!value(text).text()) {
                continue;
            }
            const std::string literal = literalLike(*value(text).text(), value(other));
            if (isLiteral(text) && !literal.empty()) {
                return "Write " + (text == 0 ? call(step_.name, literal, source(1))
                                             : call(step_.name, source(0), literal));
            }
            if (isLiteral(other) && value(other).isBoolean()) {
                const std::string quoted = inQuotes(*value(other).stringValue());
                return "Write " + (other == 0 ? call(step_.name, quoted, source(1))
                                              : call(step_.name, source(0), quoted));
            }
            if (!literal.empty() && !value(other).isBoolean()) {
                return "Write " + call("num" + step_.name, source(0), source(1));
            }
        }
        for (const std::size_t date : {std::size_t{0}, std::size_t{1}}) {
            if (value(date).date()) {
                return secondsAdvice(date);
            }
        }
        for (const std::size_t array : {std::size_t{0}, std::size_t{1}}) {
            if (value(array).elements() && !value(1 - array).dictionary()) {
                return "Write " + (step_.name == "eq"
                                       ? call("inArray", source(1 - array), source(array))
                                       : "not(" + call("inArray", source(1 - array), source(array)) + ")");
            }
        }
        return "";
    }

    std::string secondsAdvice(std::size_t date) const {
        if (argument(1 - date).isCallOf("now")) {
            return "Write concat(tsToNum(" + source(date) + "), \"000\"), because now() is in milliseconds";
        }
        return "tsToNum(" + source(date) + ") gives a date's seconds since 1970 as a number";
    }

    std::string numbers() const {
        for (const std::size_t seconds : {std::size_t{0}, std::size_t{1}}) {
            if (argument(seconds).isCallOf("tsToNum") && argument(1 - seconds).isCallOf("now")) {
                return "tsToNum gives seconds and now() milliseconds: write concat(" + source(seconds) +
                       ", \"000\")";
            }
        }
        for (const std::size_t index : {std::size_t{0}, std::size_t{1}}) {
            const KivxValue& own = value(index);
            const auto text = own.text();
            if (own.isUndefined() || own.isNumber() || (text && parseNumber(*text))) {
                continue;
            }
            const std::string what = text ? inQuotes(*text) : kindOf(own);
            const std::string advice = text ? adviceForNumber(*text) : own.date() ? secondsAdvice(index) : "";
            return joined(what + " is no number, which always gives false", advice);
        }
        return "";
    }

    std::string element() const {
        const KivxValue& own = value(0);
        const auto elements = value(1).elements();
        if (!elements || holds(step_.value) || own.isUndefined()) {
            return own.isUndefined() && !holds(step_.value) ? "the array does not contain undefined" : "";
        }
        for (const KivxValue& each : *elements) {
            if (own.text() && each.text() && lowercased(*own.text()) == lowercased(*each.text())) {
                return "upper and lower case count: the array has " + literalText(each);
            }
            if (readsAs(each, own) || readsAs(own, each)) {
                const std::string wanted = own.text() ? inQuotes(toText(each)) : std::string(*each.text());
                return joined(never(own, each),
                              "In the array, write " + wanted + " for " + literalText(each));
            }
        }
        const bool isForeign =
            elements->size() > 0 && std::ranges::none_of(*elements, [&](const KivxValue& each) {
                return family(each) == family(own);
            });
        return isForeign ? kindOf(own) + " equals no element: the first is " + kindOf((*elements)[0]) : "";
    }

    std::string condition(std::size_t index) const {
        const auto text = value(index).text();
        if (!text || *text == KivxTrue || *text == KivxFalse) {
            return "";
        }
        return inQuotes(*text) + " counts as " + (readBoolean(*text) ? "true" : "false") + ": " +
               (isLiteral(index)
                    ? "write true or false"
                    : "to test for it, write eq(" + source(index) + ", " + inQuotes(*text) + ")") +
               ". " + std::string(truthOfTexts.substr(0, truthOfTexts.size() - 1));
    }

    std::string versions() const {
        if (!value(0).text() || !value(1).text()) {
            return "";
        }
        const auto first = versionProblem(*value(0).text());
        const auto second = versionProblem(*value(1).text());
        if (first && second && first->problem == second->problem) {
            return "";
        }
        const auto& problem = first ? first : second;
        return problem ? joined(inQuotes(*value(first ? 0 : 1).text()) + problem->problem, problem->advice)
                       : std::string();
    }

    std::string date() const {
        const KivxValue& own = value(0);
        if (own.date() || own.isUndefined()) {
            return "";
        }
        const bool isDateText = own.text() && parseDate(*own.text());
        const std::string problem = kindOf(own) + " is no date";
        if (!argument(0).isCallOf("property")) {
            return problem + ": only a property can be a date";
        }
        const RecordedStep& name = evaluation_.steps[argument(0).arguments.front()];
        return problem + ": give the property as a date, " + printable(toText(name.value)) +
               ":datetime=" + (isDateText ? printable(*own.text()) : "2026-01-31T12:00:00.000Z");
    }

    std::string base64() const {
        const auto text = value(0).text();
        const bool isOdd = step_.value.isUndefined() && isWhole(value(0));
        const auto problem = isOdd ? base64Problem(*text) : std::nullopt;
        return problem ? joined(inQuotes(*text) + problem->problem, problem->advice) : "";
    }

    std::string pattern() const {
        const auto text = value(0).text();
        const auto wanted = value(1).text();
        const auto flags = value(2).text();
        if (!text || !wanted || !flags || step_.value.isBoolean() || holds(step_.value) ||
            flags->find('i') != flags->npos) {
            return "";
        }
        const auto has = [&flags](char flag) { return flags->find(flag) != flags->npos; };
        std::string error;
        RegularExpressionWork work{.limit = workOfARead};
        return searchRegularExpression(*text, *wanted, {true, has('x'), has('s'), has('m'), has('w')}, work,
                                       error) == RegularExpressionOutcome::match
                   ? "upper and lower case count: with the flag \"i\" they do not"
                   : "";
    }

    std::string share(std::size_t index) const {
        const KivxValue& own = value(index);
        const auto text = own.text();
        if (text && !parseNumber(*text)) {
            return joined(inQuotes(*text) + " counts as the share " + doubleText(own.doubleValue()),
                          adviceForNumber(*text));
        }
        const double number = own.isNumber() || text ? own.doubleValue() : 0;
        if (number >= 0 && number <= 1) {
            return "";
        }
        return "a share is a number from 0 to 1, and this is " + toText(own) +
               (number > 1 && number <= 100
                    ? ": write " + doubleText(number) + " % as " + doubleText(number / 100)
                    : "");
    }

    std::string description() const {
        for (std::size_t index = 0; index < step_.arguments.size(); ++index) {
            if (value(index).isBoolean()) {
                return toText(value(index)) + " becomes the text " + inQuotes(value(index).description());
            }
        }
        return "";
    }

    const RecordedEvaluation& evaluation_;
    const RecordedStep& step_;
};

} // namespace

std::string kindRemark(const RecordedEvaluation& evaluation, const RecordedStep& step) {
    return Remarker(evaluation, step).text();
}

} // namespace kiv::tool
