#pragma once

#include <cstddef>

#include <string>
#include <string_view>
#include <vector>

#include "expression/ArgumentCheck.h"
#include "expression/ExpressionLexer.h"
#include "expression/OperatorSignatures.h"

namespace kiv::tool {

/// Something about an expression that its author should know.
struct ExpressionFinding {
    bool isError;
    std::size_t position; ///< in bytes
    std::size_t length;
    std::string message;
    std::string advice; ///< may be empty
};

/// Reads an expression as its author means it: operators with their arguments in parentheses, separated by
/// commas.
///
/// The evaluator knows no grammar and takes each argument from whatever comes next, so most of what is found
/// here gives a value there, and a wrong one. Input of any size and nesting is read in bounded stack. So many
/// errors end the reading, and of warnings no more are kept: `mostFindings`.
class ExpressionReader {
public:
    static constexpr std::size_t mostFindings = 10;

    /// Without `targetGroups` (null) references to target groups are not looked at. Both are borrowed.
    ExpressionReader(std::string_view expression, const Names* targetGroups)
        : expression_(expression), targetGroups_(targetGroups), lexer_(expression) {}

    /// In the order of their positions. Call it once.
    std::vector<ExpressionFinding> read();

    /// After `read`: there was, or may be, more to tell.
    bool isCut() const { return errors_ >= mostFindings || warnings_ > mostFindings; }

private:
    /// A bracket that is open, or the whole expression.
    struct Frame {
        enum class Kind { whole, call, group, array, dictionary };

        Kind kind = Kind::whole;
        Token start = {};                      ///< the operator, else the bracket
        std::size_t bracket = 0;               ///< where the bracket stands
        const OperatorSignature* op = nullptr; ///< null unless it is a call of a known one
        std::size_t count = 0;
        bool separated = true; ///< nothing has followed the last separator yet
        bool countable = true; ///< no mistake inside makes the number of arguments unclear
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
    /// What comes next is an argument of that kind.
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
