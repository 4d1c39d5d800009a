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
/// It borrows the expression and the operators, and its nodes borrow from them and from itself. Literals do not nest: a
/// bracket that opens while another of its kind is open starts afresh. A bracket that closes nothing is an unknown
/// word, and so is a word inside a literal that is none; both stand among the tokens. Nothing else is refused.
class KivxTokenizedExpression {
public:
    KivxTokenizedExpression(std::string_view expression, const KivxOperatorTable& operatorSet);

    KivxTokenizedExpression(const KivxTokenizedExpression&) = delete;
    KivxTokenizedExpression& operator=(const KivxTokenizedExpression&) = delete;

    std::span<const KivxNode> tokens() const { return {nodes_.data(), nodes_.size()}; }

    std::string_view expression() const { return expression_; }

    /// The word or the delimiter that begins at a position of the expression, to name an unknown node.
    std::string_view wordAt(std::size_t position) const;

private:
    std::string_view textWithoutEscapedQuotes();
    void tokenize(std::string_view text);
    KivxNode typeNodeFromToken(std::string_view token) const;
    KivxValue stringFromToken(std::string_view token) const;
    void bracket(char character, std::size_t position);
    void pushNode(KivxNode node);
    std::size_t positionInExpression(std::size_t position);

    std::string_view expression_;
    const KivxOperatorTable& operators_;
    bool hasBackslash_;
    std::string copy_;                 ///< the expression with its escaped quotes replaced, if it has any
    std::vector<std::size_t> escapes_; ///< where they stand in the expression
    std::size_t escapesPassed_ = 0;

    boost::container::small_vector<KivxNode, 16> nodes_;
    std::optional<KivxValue::Array> arrayAccumulator_;
    std::optional<KivxValue::Dictionary> dictionaryAccumulator_;
    std::optional<KivxValue> dictKey_;
    std::size_t arrayPosition_ = 0;
    std::size_t dictionaryPosition_ = 0;
};
