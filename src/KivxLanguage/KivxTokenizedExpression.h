#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <boost/container/small_vector.hpp>

#include "KivxLanguage/KivxNode.h"

/// An expression cut into nodes: the general way to cut it. `KivxWords` is the fast one.
///
/// It borrows the expression and the operators; its nodes borrow from both and from itself. An opening
/// bracket drops an array (or dictionary) that is still open and starts a new one; only a dictionary may
/// stand in an array. A closing bracket without an opening one becomes an unknown node, and so does an
/// unknown word inside a literal; both stand among the tokens.
class KivxTokenizedExpression {
public:
    /// Throws a `KIVException` "InternalInconsistency" when arrays and dictionaries are nested more than 64
    /// deep, and when there are more than a million words.
    KivxTokenizedExpression(std::string_view expression, const KivxOperatorTable& operatorSet);

    KivxTokenizedExpression(const KivxTokenizedExpression&) = delete;
    KivxTokenizedExpression& operator=(const KivxTokenizedExpression&) = delete;

    std::span<const KivxNode> tokens() const { return {nodes_.data(), nodes_.size()}; }
    /// For the evaluation, which moves the values out of the nodes.
    std::span<KivxNode> tokens() { return {nodes_.data(), nodes_.size()}; }

    std::string_view expression() const { return expression_; }

    /// The word or the delimiter that begins at a byte offset of the expression; names an unknown node.
    std::string_view wordAt(std::size_t position) const { return wordIn(expression_, position); }
    /// The same for an expression that need not be cut.
    static std::string_view wordIn(std::string_view expression, std::size_t position);

private:
    /// An array or dictionary that has not been closed yet.
    template <class Values>
    struct Literal {
        explicit Literal(std::size_t where) : position(where) {}

        std::size_t position;
        Values values;
        unsigned depth = 1; ///< levels of literals, this one included
    };
    struct Key {
        KivxValue value;
        unsigned depth;
    };

    std::string_view textWithoutEscapedQuotes();
    void tokenize(std::string_view text);
    void pushString(std::string_view token, std::size_t position);
    void pushWord(std::string_view token, std::size_t position);
    void pushNode(KivxValue&& operand, std::size_t position, unsigned depth = 0);
    void pushIntoLiteral(KivxValue&& value, unsigned depth);
    bool insideLiteral() const { return arrayAccumulator_ || dictionaryAccumulator_; }
    void openOrClose(char delimiter, std::size_t position);
    template <class Values>
    void close(std::optional<Literal<Values>>& literal, std::size_t position);
    std::size_t positionInExpression(std::size_t position);

    std::string_view expression_;
    const KivxOperatorTable& operators_;
    bool hasBackslash_;
    std::string copy_;                 ///< the expression with its escaped quotes replaced, if it has any
    std::vector<std::size_t> escapes_; ///< the positions of the escaped quotes in the expression
    std::size_t escapesPassed_ = 0;    ///< how many of them `positionInExpression` has passed

    boost::container::small_vector<KivxNode, 16> nodes_;
    std::optional<Literal<KivxValue::Array>> arrayAccumulator_;
    std::optional<Literal<KivxValue::Dictionary>> dictionaryAccumulator_;
    std::optional<Key> dictKey_;
};
