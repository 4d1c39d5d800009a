#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

#include <kiv/KivxValue.h>

#include "KivxLanguage/KivxOperatorTable.h"

enum KivxNodeType { KivxNodeTypeOperand = 0, KivxNodeTypeOperator = 1, KivxNodeTypeUnknown = 2 };

/// One token of an expression.
struct KivxNode {
    KivxNode(KivxValue&& operand, std::size_t ownPosition) noexcept
        : type(KivxNodeTypeOperand), value(std::move(operand)), position(ownPosition) {}

    /// A text operand, which borrows its text.
    KivxNode(std::string_view text, std::size_t ownPosition) noexcept
        : type(KivxNodeTypeOperand), value(KivxValue::borrowed(text)), position(ownPosition) {}

    KivxNode(const KivxOperatorTable::Operator& ownOperator, std::size_t ownPosition) noexcept
        : type(KivxNodeTypeOperator), value(KivxValue::borrowed(ownOperator.name)), op(&ownOperator),
          position(ownPosition) {}

    explicit KivxNode(std::size_t positionOfUnknown) noexcept
        : type(KivxNodeTypeUnknown), position(positionOfUnknown) {}

    KivxNodeType type;
    /// The value of an operand, the name of an operator, `none` for an unknown word.
    KivxValue value;
    /// Null unless the node is an operator.
    const KivxOperatorTable::Operator* op = nullptr;
    /// The token's byte offset in the expression; for a text, array or dictionary that of its opening quote
    /// or bracket.
    std::size_t position;
};
