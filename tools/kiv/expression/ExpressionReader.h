#pragma once

#include <cstddef>

#include <string>
#include <string_view>
#include <vector>

#include "expression/ArgumentCheck.h"
#include "expression/ExpressionLexer.h"
#include "expression/OperatorSignatures.h"

namespace kiv::tool {

/// A mistake in an expression, or something that its author probably did not mean.
struct ExpressionFinding {
    bool isError;
    std::size_t position; ///< in bytes
    std::size_t length;
    std::string message;
    std::string advice; ///< may be empty
};

/// Reads an expression in the form that its author means: operators with their arguments in parentheses,
/// separated by commas.
///
/// The evaluator knows no grammar: it takes each argument from whatever comes next. So the evaluator gives
/// most expressions with mistakes a value, but a wrong one. The reader does not recurse, so that input of any
/// nesting is safe. It stops after `mostFindings` errors, and keeps at most `mostFindings` warnings.
class ExpressionReader {
public:
    static constexpr std::size_t mostFindings = 10;

    /// Without `targetGroups` (null) references to target groups are not checked. Both arguments are
    /// borrowed.
    ExpressionReader(std::string_view expression, const Names* targetGroups)
        : expression_(expression), targetGroups_(targetGroups), lexer_(expression) {}

    /// Returns the findings in the order of their positions. Call it once.
    std::vector<ExpressionFinding> read();

    /// After `read`: the reader stopped early or dropped warnings.
    bool isCut() const { return errors_ >= mostFindings || warnings_ > mostFindings; }

private:
    /// An open bracket, or the whole expression.
    struct Frame {
        enum class Kind { whole, call, group, array, dictionary };

        Kind kind = Kind::whole;
        Token start = {};                      ///< the operator, else the bracket
        std::size_t bracket = 0;               ///< position of the bracket
        const OperatorSignature* op = nullptr; ///< null unless this is the call of a known operator
        std::size_t count = 0;                 ///< arguments or elements read so far
        bool separated = true;                 ///< no value has followed the last separator yet
        bool countable = true; ///< false after a mistake that makes the number of arguments unclear
        double low = 0;        ///< the lower end of a range of shares
    };
    using Kind = Frame::Kind;

    void readToken(const Token& token);
    void readWord(const Token& token);
    void readText(const Token& token);
    void readPunctuation(const Token& token);
    void openParenthesis(const Token& token);
    void openLiteral(const Token& token);
    void push(Kind kind, const Token& token);
    void value(const Token& token);
    void refuseSurplus(const Token& token);
    void checkAsArgument(const Token& token);
    void close(const Token& token);
    void closeTop(const Token& token);
    void reportEnd();
    std::size_t& openOf(Kind kind);
    void error(const Token& token, std::string message, std::string advice = {});
    void warning(const Token& token, std::string message, std::string advice = {});

    bool touchesQuote(const Token& token) const;
    /// True when the next value is an argument of that kind.
    bool expects(ArgumentKind kind) const;
    bool inLiteral() const { return top().kind == Kind::array || top().kind == Kind::dictionary; }
    const Frame& top() const { return frames_.back(); }
    Frame& top() { return frames_.back(); }

    std::string_view expression_;
    const Names* targetGroups_;
    ExpressionLexer lexer_;
    std::vector<Frame> frames_{1};
    Token lastWord_;           ///< the word directly before a parenthesis
    std::size_t open_[3] = {}; ///< brackets that are open: parentheses, arrays, dictionaries
    bool unterminated_ = false;
    std::size_t errors_ = 0;
    std::size_t warnings_ = 0;
    std::vector<ExpressionFinding> findings_;
};

} // namespace kiv::tool
