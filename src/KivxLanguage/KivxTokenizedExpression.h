#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <boost/container/small_vector.hpp>

#include "KivxLanguage/KivxNode.h"

/// An expression cut into nodes.
///
/// It borrows the expression and the operators, and its nodes borrow from them and from itself. Literals do
/// not nest: a bracket that opens while another of its kind is open starts afresh. A bracket that closes
/// nothing is an unknown node, and so is a word inside a literal that means nothing; both stand among the
/// tokens.
class KivxTokenizedExpression {
public:
    /// Throws for arrays and dictionaries closed into one another more than 64 times, and for more than a
    /// million words; for nothing else.
    KivxTokenizedExpression(std::string_view expression, const KivxOperatorTable& operatorSet);

    KivxTokenizedExpression(const KivxTokenizedExpression&) = delete;
    KivxTokenizedExpression& operator=(const KivxTokenizedExpression&) = delete;

    std::span<const KivxNode> tokens() const { return {nodes_.data(), nodes_.size()}; }
    /// For the one who evaluates: it may move the values away.
    std::span<KivxNode> tokens() { return {nodes_.data(), nodes_.size()}; }

    std::string_view expression() const { return expression_; }

    /// The word or the delimiter that begins at a position of the expression, to name an unknown node.
    std::string_view wordAt(std::size_t position) const;

private:
    /// An array or dictionary that has not been closed yet.
    template <class Values>
    struct Literal {
        explicit Literal(std::size_t where) : position(where) {}

        std::size_t position;
        Values values;
        unsigned depth = 1; ///< literals inside one another, this one included
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
    std::vector<std::size_t> escapes_; ///< where they stand in the expression
    std::size_t escapesPassed_ = 0;

    boost::container::small_vector<KivxNode, 16> nodes_;
    std::optional<Literal<KivxValue::Array>> arrayAccumulator_;
    std::optional<Literal<KivxValue::Dictionary>> dictionaryAccumulator_;
    std::optional<Key> dictKey_;
};
