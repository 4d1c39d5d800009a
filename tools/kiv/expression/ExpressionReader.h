#pragma once

#include <cstddef>

#include <set>
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

/// A flag or a target group that an expression asks for by its name.
struct ExpressionReference {
    ExpressionUse use;
    std::string_view name; ///< points into the expression
    std::size_t position;  ///< of the name's opening quote, in bytes
    std::size_t length;
};

/// Reads an expression in the form that its author means: operators with their arguments in parentheses,
/// separated by commas. The form without parentheses, `lt 1 2`, is read as well.
///
/// The evaluator knows no grammar: it takes each argument from whatever comes next. So the evaluator gives
/// most expressions with mistakes a value, but a wrong one. The reader does not recurse, so that input of any
/// nesting is safe. It stops after `mostFindings` errors, and keeps at most `mostFindings` warnings.
class ExpressionReader {
public:
    static constexpr std::size_t mostFindings = 10;

    /// The expression is borrowed.
    ExpressionReader(std::string_view expression, const ExpressionSetting& setting)
        : expression_(expression), setting_(setting), lexer_(expression) {}

    /// Returns the findings in the order of their positions. Call it once.
    std::vector<ExpressionFinding> read();

    /// After `read`: what the expression asks for, in the order of the positions. Incomplete when `isCut`.
    const std::vector<ExpressionReference>& references() const { return references_; }

    /// After `read`: the reader stopped early or dropped warnings.
    bool isCut() const { return errors_ >= mostFindings || warnings_ > mostFindings; }

private:
    /// An open bracket, an operator that takes its arguments without one, or the whole expression.
    struct Frame {
        enum class Kind { whole, call, bareCall, group, array, dictionary };

        Kind kind = Kind::whole;
        Token start = {};                      ///< the operator, else the bracket
        std::size_t bracket = 0;               ///< position of the bracket
        const OperatorSignature* op = nullptr; ///< null unless this is the call of a known operator
        std::size_t count = 0;                 ///< arguments or elements read so far
        bool separated = true;                 ///< no value has followed the last separator yet
        bool countable = true; ///< false after a mistake that makes the number of arguments unclear
        double low = 0;        ///< the lower end of a range of shares
        std::set<std::string_view> keys = {}; ///< of a dictionary, as they are written
    };
    using Kind = Frame::Kind;

    void readToken(const Token& token);
    void readWord(const Token& token);
    void readText(const Token& token);
    void readPunctuation(const Token& token);
    void separate(const Token& token);
    void openParenthesis(const Token& token);
    void openLiteral(const Token& token);
    void push(Kind kind, const Token& token);
    void value(Token token);
    void add(const Token& token);
    Token closeBareCall(const Token& last);
    void abandonBareCalls();
    void refuseSurplus(const Token& token);
    void checkAsKey(const Token& token);
    void checkAsArgument(const Token& token);
    void close(const Token& token);
    void closeTop(const Token& token);
    void reportEnd();
    std::size_t& openOf(Kind kind);
    void report(const Token& token, std::optional<ArgumentProblem> problem);
    void error(const Token& token, std::string message, std::string advice = {});
    void warning(const Token& token, std::string message, std::string advice = {});

    bool touchesQuote(const Token& token) const;
    /// True when the next value is an argument of that kind.
    bool expects(ArgumentKind kind) const;
    bool inLiteral() const { return top().kind == Kind::array || top().kind == Kind::dictionary; }
    const Frame& top() const { return frames_.back(); }
    Frame& top() { return frames_.back(); }

    std::string_view expression_;
    ExpressionSetting setting_;
    ExpressionLexer lexer_;
    std::vector<Frame> frames_{1};
    Token lastWord_;           ///< the word directly before a parenthesis
    std::size_t open_[3] = {}; ///< brackets that are open: parentheses, arrays, dictionaries
    bool unterminated_ = false;
    bool lost_ = false; ///< the rest is cut differently than its author means, and not read
    std::vector<ExpressionReference> references_;
    std::size_t errors_ = 0;
    std::size_t warnings_ = 0;
    std::vector<ExpressionFinding> findings_;
};

} // namespace kiv::tool
