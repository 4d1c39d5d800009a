#include "KivxLanguage/KivxTokenizedExpression.h"

#include <utility>

#include "KivxLanguage/KIVStringTokenizer.h"
#include "KivxLanguage/KivxTokens.h"
#include "Platform/Text.h"

namespace {

constexpr KIVDelimiterSet outsideString(KivxTokenDelimiters);
constexpr KIVDelimiterSet insideString(KivxStringDelimiter);

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
    std::size_t copied = 0;
    for (std::size_t found = hasBackslash_ ? expression_.find(KivxEscapedQuote) : expression_.npos;
         found != expression_.npos; found = expression_.find(KivxEscapedQuote, copied)) {
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
    const KIVDelimiterSet* delimiters = &outsideString;
    std::string_view previous;
    std::string_view current;
    while (tokenizer.hasMoreTokens()) {
        previous = std::exchange(current, *tokenizer.nextToken(delimiters));
        const std::size_t position = positionInExpression(static_cast<std::size_t>(current.data() - text.data()));
        if (current == KivxStringDelimiter) {
            if (previous == KivxStringDelimiter) {
                pushNode({KivxNodeTypeOperand, typeNodeFromToken(KivxEmptyString).value, nullptr, position - 1});
            }
            delimiters = delimiters == &insideString ? &outsideString : &insideString;
        } else if (delimiters == &insideString) {
            pushNode({KivxNodeTypeOperand, stringFromToken(current), nullptr, position - 1});
        } else if (outsideString.contains(current.front())) {
            bracket(current.front(), position);
        } else {
            KivxNode node = typeNodeFromToken(current);
            node.position = position;
            pushNode(std::move(node));
        }
    }
}

KivxNode KivxTokenizedExpression::typeNodeFromToken(std::string_view token) const {
    if (const auto* op = operators_.find(token)) {
        return {KivxNodeTypeOperator, KivxValue::borrowed(op->name), op};
    }
    if (token == KivxTrue || token == KivxFalse) {
        return {KivxNodeTypeOperand, token == KivxTrue};
    }
    if (token == KivxUndefined) {
        return {KivxNodeTypeOperand, KivxValue::undefined()};
    }
    if (token == KivxEmptyString) {
        return {KivxNodeTypeOperand, KivxValue::borrowed("")};
    }
    if (const std::optional<kiv::Number> number = kiv::parseNumber(token)) {
        return {KivxNodeTypeOperand, std::visit([](auto value) { return KivxValue(value); }, *number)};
    }
    return {KivxNodeTypeUnknown, KivxValue()};
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
void KivxTokenizedExpression::bracket(char character, std::size_t position) {
    if (character == KivxArrayStartDelimiter.front()) {
        arrayAccumulator_.emplace();
        arrayPosition_ = position;
    } else if (character == KivxDictStartDelimiter.front()) {
        dictionaryAccumulator_.emplace();
        dictionaryPosition_ = position;
    } else if (character == KivxArrayEndDelimiter.front()) {
        if (!arrayAccumulator_) {
            nodes_.push_back({KivxNodeTypeUnknown, KivxValue(), nullptr, position});
            return;
        }
        KivxValue array(std::move(*arrayAccumulator_));
        arrayAccumulator_.reset();
        pushNode({KivxNodeTypeOperand, std::move(array), nullptr, arrayPosition_});
    } else if (character == KivxDictEndDelimiter.front()) {
        if (!dictionaryAccumulator_) {
            nodes_.push_back({KivxNodeTypeUnknown, KivxValue(), nullptr, position});
            return;
        }
        KivxValue dictionary(std::move(*dictionaryAccumulator_));
        dictionaryAccumulator_.reset();
        pushNode({KivxNodeTypeOperand, std::move(dictionary), nullptr, dictionaryPosition_});
    }
}

void KivxTokenizedExpression::pushNode(KivxNode node) {
    if ((!dictionaryAccumulator_ && !arrayAccumulator_) || node.type == KivxNodeTypeUnknown) {
        nodes_.push_back(std::move(node));
        return;
    }
    // A literal may outlive the expression: it can be the result.
    KivxValue value = std::move(node.value).owned();
    if (!dictionaryAccumulator_) {
        arrayAccumulator_->push_back(std::move(value));
    } else if (!dictKey_) {
        dictKey_ = std::move(value);
    } else {
        dictionaryAccumulator_->insert_or_assign(*std::exchange(dictKey_, std::nullopt), std::move(value));
    }
}
