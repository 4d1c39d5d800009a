#include "expression/ExpressionLexer.h"

#include <algorithm>

#include "KivxLanguage/KivxTokens.h"

namespace kiv::tool {
namespace {

constexpr std::string_view space = " \t\r\n";

/// The position of the next quote at or after `from` that no backslash escapes; the expression's size when
/// there is none.
std::size_t findQuote(std::string_view expression, std::size_t from) {
    for (std::size_t at = expression.find('"', from); at != expression.npos;
         at = expression.find('"', at + 1)) {
        if (at == 0 || expression[at - 1] != '\\') {
            return at;
        }
    }
    return expression.size();
}

} // namespace

void ExpressionLexer::skipSpace() {
    position_ = std::min(expression_.find_first_not_of(space, position_), expression_.size());
}

Token ExpressionLexer::next() {
    skipSpace();
    if (position_ == expression_.size()) {
        return {Token::Kind::end, position_};
    }
    const char first = expression_[position_];
    if (first == '"') {
        return text();
    }
    if (KivxTokenDelimiters.find(first) != KivxTokenDelimiters.npos) {
        const std::size_t position = position_++;
        return {Token::Kind::punctuation, position, 1, expression_.substr(position, 1)};
    }
    return word();
}

Token ExpressionLexer::text() {
    const std::size_t opening = position_;
    const std::size_t closing = findQuote(expression_, opening + 1);
    const bool terminated = closing < expression_.size();
    const bool touches = opening == textEnd_;
    position_ = textEnd_ = terminated ? closing + 1 : closing;
    return {.kind = Token::Kind::text,
            .position = opening,
            .length = position_ - opening,
            .text = expression_.substr(opening + 1, closing - opening - 1),
            .terminated = terminated,
            .touchesText = touches};
}

Token ExpressionLexer::word() {
    const std::size_t start = position_;
    while (position_ < expression_.size()) {
        const char c = expression_[position_];
        const bool escapedQuote = c == '"' && position_ > start && expression_[position_ - 1] == '\\';
        if (!escapedQuote && KivxTokenDelimiters.find(c) != KivxTokenDelimiters.npos) {
            break;
        }
        ++position_;
    }
    Token token{Token::Kind::word, start, position_ - start, expression_.substr(start, position_ - start)};
    skipSpace();
    token.beforeParenthesis = position_ < expression_.size() && expression_[position_] == '(';
    return token;
}

std::size_t swallowedQuote(std::string_view expression, const Token& token) {
    const std::size_t backslash = token.text.find(KivxEscapedQuote);
    const std::size_t end = token.position + token.length;
    if (backslash == token.text.npos || end == expression.size() ||
        KivxTokenDelimiters.find(expression[end]) != KivxTokenDelimiters.npos) {
        return token.text.npos;
    }
    const std::string_view after = token.text.substr(backslash + KivxEscapedQuote.size());
    const std::size_t next = after.find_first_not_of(space);
    const bool seemsClosed = next != after.npos && std::string_view(",)]}").find(after[next]) != after.npos;
    return seemsClosed ? backslash : token.text.npos;
}

} // namespace kiv::tool
