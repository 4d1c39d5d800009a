#include "expression/Words.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <vector>

#include "KivxLanguage/KivxTokens.h"
#include "Platform/Text/Text.h"
#include "Terminal.h"
#include "expression/OperatorSignatures.h"
#include "expression/TextForms.h"

namespace kiv::tool {
namespace {

/// Words of other languages, and what to write for them here.
constexpr std::array<std::pair<std::string_view, std::string_view>, 22> habits{{
    {"==", "eq(first, second)"},
    {"=", "eq(first, second)"},
    {"equals", "eq(first, second)"},
    {"!=", "ne(first, second)"},
    {"<>", "ne(first, second)"},
    {"<", "lt(first, second)"},
    {"<=", "lte(first, second)"},
    {">", "gt(first, second)"},
    {">=", "gte(first, second)"},
    {"&&", "and(first, second)"},
    {"||", "or(first, second)"},
    {"!", "not(condition)"},
    {"if", "ifThen(condition, then, else)"},
    {"?", "ifThen(condition, then, else)"},
    {"in", "inArray(value, array)"},
    {"contains", "inArray(value, array)"},
    {"matches", "match(text, pattern, flags)"},
    {"regex", "match(text, pattern, flags)"},
    {"percentage", "isInPercentage(share, seed)"},
    {"null", "undefined"},
    {"nil", "undefined"},
    {"none", "undefined"},
}};

/// How many bytes to insert, remove, replace or swap with their neighbour to turn `a` into `b`.
std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> beforeLast(b.size() + 1);
    std::vector<std::size_t> last(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::swap(beforeLast, last);
        std::swap(last, row);
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0U : 1U)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
    }
    return row[b.size()];
}

bool holdsAny(std::string_view word, std::initializer_list<std::string_view> parts) {
    return std::ranges::any_of(parts, [word](std::string_view part) { return word.find(part) != word.npos; });
}

} // namespace

std::string_view closest(std::string_view word, std::span<const std::string_view> candidates) {
    constexpr std::size_t longest = 40;
    if (word.size() > longest) {
        return {};
    }
    const std::string own = lowercasedAscii(word);
    std::string_view best;
    std::size_t bestDistance = own.size() <= 2 ? 1 : 1 + own.size() / 3;
    for (const std::string_view candidate : candidates) {
        const std::size_t distance = editDistance(own, lowercasedAscii(candidate));
        if (distance < bestDistance) {
            best = candidate;
            bestDistance = distance;
        }
    }
    return best;
}

std::string didYouMean(std::string_view word, std::span<const std::string_view> candidates,
                       std::string_view before) {
    const std::string_view meant = closest(word, candidates);
    return meant.empty() ? "" : std::string(before) + "Did you mean " + std::string(meant) + "?";
}

std::string listed(std::span<const std::string_view> words) {
    std::string text;
    for (std::size_t index = 0; index < words.size(); ++index) {
        const bool isLast = index + 1 == words.size();
        text += (index == 0 ? "" : isLast ? " and " : ", ") + std::string(words[index]);
    }
    return text;
}

std::string adviceForUnknownWord(std::string_view word, bool isCall) {
    if (const std::string character = invisibleCharacter(word, true); !character.empty()) {
        return "It contains the invisible character " + character + ". Delete it, or type an ordinary space.";
    }
    if (holdsAny(word, {"“", "”", "„", "«", "»", "‘", "’"}) || word.front() == '\'' || word.front() == '`') {
        return "Write texts in plain double quotes: \"text\".";
    }
    if (word.front() == '\\') {
        return "The quote has a backslash before it: this expression was escaped once too often.";
    }
    for (const auto& [habit, meant] : habits) {
        if (lowercasedAscii(word) == habit) {
            return "Did you mean " + std::string(meant) + "?";
        }
    }
    std::vector<std::string_view> known{KivxTrue, KivxFalse, KivxUndefined, "equals"};
    std::ranges::transform(operatorSignatures, std::back_inserter(known), &OperatorSignature::name);
    if (const std::string_view meant = closest(word, known); !meant.empty()) {
        const OperatorSignature* signature = operatorSignature(meant == "equals" ? "eq" : meant);
        return "Did you mean " + std::string(signature ? signature->usage : meant) + "?";
    }
    if (holdsAny(word.substr(0, 1), {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "+", "-", "."})) {
        return "Write numbers like 5, -1.5 or 1e3, and texts in double quotes.";
    }
    if (isCall) {
        return "There is no operator with this name or a similar one.";
    }
    return "If it is meant as a text, put it in double quotes: " + inQuotes(word) + ".";
}

} // namespace kiv::tool
