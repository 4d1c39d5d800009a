#include "KivxLanguage/KivxTokenizedExpression.h"

#include <algorithm>
#include <utility>

#include <kiv/KIVException.h>

#include "KivxLanguage/KIVStringTokenizer.h"
#include "KivxLanguage/KivxTokens.h"
#include "Platform/Text.h"

namespace {

constexpr KIVDelimiterSet outsideString(KivxTokenDelimiters);
constexpr KIVDelimiterSet insideString(KivxStringDelimiter);

constexpr unsigned deepestLiteral = 64;

/// What replacing an escaped quote adds to the text.
constexpr std::size_t placeholderGrowth = KivxEscapedQuotePlaceholder.size() - KivxEscapedQuote.size();

} // namespace

KivxTokenizedExpression::KivxTokenizedExpression(std::string_view expression, const KivxOperatorTable& operatorSet)
    : expression_(expression), operators_(operatorSet), hasBackslash_(expression.find('\\') != expression.npos) {
    tokenize(textWithoutEscapedQuotes());
}

std::string_view KivxTokenizedExpression::wordAt(std::size_t position) const {
    return KIVStringTokenizer(expression_.substr(position), &outsideString, true).nextToken().value_or("");
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

/// For positions of the text that is cut, which must not decrease.
std::size_t KivxTokenizedExpression::positionInExpression(std::size_t position) {
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
    while (tokenizer.hasMoreTokens()) {
        const std::string_view token = *tokenizer.nextToken(inside ? &insideString : &outsideString);
        const std::size_t position = positionInExpression(static_cast<std::size_t>(token.data() - text.data()));
        const bool quote = token.front() == KivxStringDelimiter.front();
        if (quote) {
            if (afterQuote) {
                pushNode(KivxNodeTypeOperand, KivxValue::borrowed(""), position - 1);
            }
            inside = !inside;
        } else if (inside) {
            pushNode(KivxNodeTypeOperand, stringFromToken(token), position - 1);
        } else if (outsideString.contains(token.front())) {
            separate(token.front(), position);
        } else {
            typeNodeFromToken(token, position);
        }
        afterQuote = quote;
    }
}

void KivxTokenizedExpression::typeNodeFromToken(std::string_view token, std::size_t position) {
    if (const auto* op = operators_.find(token)) {
        pushNode(KivxNodeTypeOperator, KivxValue::borrowed(op->name), position, op);
    } else if (token == KivxTrue || token == KivxFalse) {
        pushNode(KivxNodeTypeOperand, token == KivxTrue, position);
    } else if (token == KivxUndefined) {
        pushNode(KivxNodeTypeOperand, KivxValue::undefined(), position);
    } else if (const std::optional<kiv::Number> number = kiv::parseNumber(token)) {
        KivxValue value = std::visit([](auto parsed) { return KivxValue(parsed); }, *number);
        pushNode(KivxNodeTypeOperand, std::move(value), position);
    } else {
        nodes_.emplace_back(position);
    }
}

/// Puts the escaped quotes of a string back, backslash and all.
KivxValue KivxTokenizedExpression::stringFromToken(std::string_view token) const {
    std::size_t found = hasBackslash_ ? token.find(KivxEscapedQuotePlaceholder) : token.npos;
    if (found == token.npos) {
        return KivxValue::borrowed(token);
    }
    std::string text;
    std::size_t copied = 0;
    for (; found != token.npos; found = token.find(KivxEscapedQuotePlaceholder, copied)) {
        text.append(token, copied, found - copied).append(KivxEscapedQuote);
        copied = found + KivxEscapedQuotePlaceholder.size();
    }
    return text.append(token, copied);
}

/// Opens or closes a literal; other delimiters only separate.
void KivxTokenizedExpression::separate(char delimiter, std::size_t position) {
    if (delimiter == KivxArrayStartDelimiter.front()) {
        arrayAccumulator_ = {position};
    } else if (delimiter == KivxDictStartDelimiter.front()) {
        dictionaryAccumulator_ = {position};
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
    pushNode(KivxNodeTypeOperand, KivxValue(std::move(closed.values)), closed.position, nullptr, closed.depth);
}

void KivxTokenizedExpression::pushNode(KivxNodeType type, KivxValue&& value, std::size_t position,
                                       const KivxOperatorTable::Operator* op, unsigned depth) {
    if (!dictionaryAccumulator_ && !arrayAccumulator_) {
        nodes_.emplace_back(type, std::move(value), op, position);
    } else {
        // A literal may be the result of the expression, and outlive it.
        pushIntoLiteral(std::move(value).owned(), depth);
    }
}

void KivxTokenizedExpression::pushIntoLiteral(KivxValue value, unsigned depth) {
    // Values are compared, described and destroyed by recursion.
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
