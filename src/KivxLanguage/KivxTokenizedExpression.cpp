#include "KivxLanguage/KivxTokenizedExpression.h"

#include <algorithm>
#include <utility>

#include <kiv/KIVException.h>

#include "KivxLanguage/KIVStringTokenizer.h"
#include "KivxLanguage/KivxConstants.h"
#include "KivxLanguage/KivxTokens.h"

namespace {

constexpr KIVDelimiterSet outsideString(KivxTokenDelimiters);
constexpr KIVDelimiterSet insideString(KivxStringDelimiter);
constexpr KIVDelimiterSet separators(KivxSeparators);

constexpr unsigned deepestLiteral = 64;

/// A node takes some forty times the memory of the shortest word, so the number of words is limited.
constexpr std::size_t mostWords = std::size_t{1} << 20;

/// The bytes by which the text grows when an escaped quote is replaced.
constexpr std::size_t placeholderGrowth = KivxEscapedQuotePlaceholder.size() - KivxEscapedQuote.size();

} // namespace

KivxTokenizedExpression::KivxTokenizedExpression(std::string_view expression,
                                                 const KivxOperatorTable& operatorSet)
    : expression_(expression), operators_(operatorSet),
      hasBackslash_(expression.find('\\') != expression.npos) {
    tokenize(textWithoutEscapedQuotes());
}

std::string_view KivxTokenizedExpression::wordIn(std::string_view expression, std::size_t position) {
    return KIVStringTokenizer(expression.substr(position), &outsideString, true).nextToken().value_or("");
}

std::string_view KivxTokenizedExpression::textWithoutEscapedQuotes() {
    if (!hasBackslash_) {
        return expression_;
    }
    std::size_t copied = 0;
    for (std::size_t found = expression_.find(KivxEscapedQuote); found != expression_.npos;
         found = expression_.find(KivxEscapedQuote, copied)) {
        copy_.append(expression_, copied, found - copied).append(KivxEscapedQuotePlaceholder);
        escapes_.push_back(found);
        copied = found + KivxEscapedQuote.size();
    }
    return escapes_.empty() ? expression_ : copy_.append(expression_, copied);
}

/// Turns a position in the text that is cut into the position in the expression. Positions of successive
/// calls must not decrease.
std::size_t KivxTokenizedExpression::positionInExpression(std::size_t position) {
    if (escapes_.empty()) {
        return position;
    }
    while (escapesPassed_ < escapes_.size() &&
           escapes_[escapesPassed_] + escapesPassed_ * placeholderGrowth < position) {
        ++escapesPassed_;
    }
    return position - escapesPassed_ * placeholderGrowth;
}

void KivxTokenizedExpression::tokenize(std::string_view text) {
    KIVStringTokenizer tokenizer(text, &outsideString, true);
    bool inside = false;
    bool afterQuote = false;
    for (std::size_t words = 0;; ++words) {
        if (!inside && tokenizer.skip(separators)) {
            afterQuote = false;
        }
        if (!tokenizer.hasMoreTokens()) {
            return;
        }
        if (words == mostWords) {
            throw KIVException::internalInconsistency("The expression has too many words");
        }
        const std::string_view token = *tokenizer.nextToken(inside ? &insideString : &outsideString);
        const std::size_t position =
            positionInExpression(static_cast<std::size_t>(token.data() - text.data()));
        const bool quote = token.front() == KivxStringDelimiter.front();
        if (quote) {
            if (afterQuote) {
                pushString("", position - 1);
            }
            inside = !inside;
        } else if (inside) {
            pushString(token, position - 1);
        } else if (outsideString.contains(token.front())) {
            openOrClose(token.front(), position);
        } else {
            pushWord(token, position);
        }
        afterQuote = quote;
    }
}

/// A placeholder in the token becomes an escaped quote again; the backslash stays in the text.
void KivxTokenizedExpression::pushString(std::string_view token, std::size_t position) {
    std::size_t found = hasBackslash_ ? token.find(KivxEscapedQuotePlaceholder) : token.npos;
    if (found == token.npos && !insideLiteral()) {
        nodes_.emplace_back(token, position);
        return;
    }
    std::string text;
    std::size_t copied = 0;
    for (; found != token.npos; found = token.find(KivxEscapedQuotePlaceholder, copied)) {
        text.append(token, copied, found - copied).append(KivxEscapedQuote);
        copied = found + KivxEscapedQuotePlaceholder.size();
    }
    pushNode(std::move(text.append(token, copied)), position);
}

void KivxTokenizedExpression::pushWord(std::string_view token, std::size_t position) {
    if (const auto* op = operators_.find(token)) {
        if (insideLiteral()) {
            pushIntoLiteral(op->name, 0);
        } else {
            nodes_.emplace_back(*op, position);
        }
    } else if (!takeConstant(token, [&](auto value) { pushNode(KivxValue(value), position); })) {
        nodes_.emplace_back(position);
    }
}

/// Adds the operand to the open literal, or to the nodes when none is open. Inside a literal the operand must
/// own its text: the literal may be the value of the expression, which outlives the expression's text.
void KivxTokenizedExpression::pushNode(KivxValue&& operand, std::size_t position, unsigned depth) {
    if (insideLiteral()) {
        pushIntoLiteral(std::move(operand), depth);
    } else {
        nodes_.emplace_back(std::move(operand), position);
    }
}

void KivxTokenizedExpression::pushIntoLiteral(KivxValue&& value, unsigned depth) {
    // Values are compared, described and destroyed by recursion, so their depth is limited.
    if (depth == deepestLiteral) {
        throw KIVException::internalInconsistency("Literals nest too deeply");
    }
    if (!dictionaryAccumulator_) {
        arrayAccumulator_->values.push_back(std::move(value));
        arrayAccumulator_->depth = std::max(arrayAccumulator_->depth, depth + 1);
    } else if (!dictKey_) {
        dictKey_ = {std::move(value), depth};
    } else {
        const unsigned deepest = std::max(dictKey_->depth, depth);
        dictionaryAccumulator_->values.insert_or_assign(std::move(dictKey_->value), std::move(value));
        dictionaryAccumulator_->depth = std::max(dictionaryAccumulator_->depth, deepest + 1);
        dictKey_.reset();
    }
}

void KivxTokenizedExpression::openOrClose(char delimiter, std::size_t position) {
    if (delimiter == KivxArrayStartDelimiter.front()) {
        arrayAccumulator_.emplace(position);
    } else if (delimiter == KivxDictStartDelimiter.front()) {
        dictionaryAccumulator_.emplace(position);
    } else if (delimiter == KivxArrayEndDelimiter.front()) {
        close(arrayAccumulator_, position);
    } else if (delimiter == KivxDictEndDelimiter.front()) {
        close(dictionaryAccumulator_, position);
    }
}

template <class Values>
void KivxTokenizedExpression::close(std::optional<Literal<Values>>& literal, std::size_t position) {
    if (!literal) {
        nodes_.emplace_back(position);
        return;
    }
    Literal<Values> closed = *std::exchange(literal, std::nullopt);
    pushNode(std::move(closed.values), closed.position, closed.depth);
}
