#pragma once

#include <cstddef>
#include <string_view>

namespace kiv::tool {

/// A piece of an expression. Its text points into the expression.
struct Token {
    /// The lexer makes the first four. `ExpressionReader` makes the others, of an array, a dictionary or a
    /// call that it has read to its end.
    enum class Kind { end, word, text, punctuation, array, dictionary, call };

    Kind kind = Kind::end;
    std::size_t position = 0; ///< bytes from the start of the expression
    std::size_t length = 0;   ///< bytes
    /// The piece itself; for a text, what stands between its quotes.
    std::string_view text = {};
    bool terminated = true;   ///< for a text: it has its closing quote
    bool touchesText = false; ///< for a text: its opening quote follows the closing quote of another text
    bool beforeParenthesis = false; ///< for a word: a parenthesis opens after it
};

/// Cuts an expression where the evaluator cuts it, but also returns the punctuation, which the evaluator
/// skips.
class ExpressionLexer {
public:
    explicit ExpressionLexer(std::string_view expression) : expression_(expression) {}

    /// The next piece; `Kind::end` at the end of the expression.
    Token next();

private:
    Token text();
    Token word();
    void skipSpace();

    std::string_view expression_;
    std::size_t position_ = 0;
    std::size_t textEnd_ = std::string_view::npos; ///< where the last text ended
};

/// Where the text `token` of the expression goes on behind an escaped quote that its author probably meant as
/// its end: the place of the backslash in the text, else `npos`.
std::size_t swallowedQuote(std::string_view expression, const Token& token);

} // namespace kiv::tool
