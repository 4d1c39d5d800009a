#pragma once

#include <cstddef>
#include <string_view>

namespace kiv::tool {

/// A piece of an expression; it borrows the expression.
struct Token {
    /// The last three stand for what has been read whole: a literal, or an operator with its arguments.
    enum class Kind { end, word, text, punctuation, array, dictionary, call };

    Kind kind = Kind::end;
    std::size_t position = 0;
    std::size_t length = 0;
    /// The piece itself; of a text what stands between its quotes.
    std::string_view text = {};
    bool terminated = true;         ///< of a text: it has its closing quote
    bool besideText = false;        ///< of a text: its opening quote follows the closing quote of another
    bool beforeParenthesis = false; ///< of a word: a parenthesis opens after it
};

/// Cuts an expression where the evaluator would, and keeps the punctuation that the evaluator drops.
class ExpressionLexer {
public:
    explicit ExpressionLexer(std::string_view expression) : expression_(expression) {}

    Token next();

private:
    Token text();
    Token word();
    void skipSpace();

    std::string_view expression_;
    std::size_t position_ = 0;
    std::size_t textEnd_ = std::string_view::npos; ///< where the last text ended
};

} // namespace kiv::tool
