#pragma once

#include <cstddef>
#include <utility>

#include <kiv/KivxValue.h>

#include "KivxLanguage/KivxOperatorTable.h"

enum KivxNodeType { KivxNodeTypeOperand = 0, KivxNodeTypeOperator = 1, KivxNodeTypeUnknown = 2 };

/// One token of an expression.
struct KivxNode {
    KivxNode(KivxNodeType ownType, KivxValue&& ownValue, const KivxOperatorTable::Operator* ownOperator,
             std::size_t ownPosition) noexcept
        : type(ownType), value(std::move(ownValue)), op(ownOperator), position(ownPosition) {}

    /// A node that means nothing.
    explicit KivxNode(std::size_t ownPosition) noexcept
        : type(KivxNodeTypeUnknown), op(nullptr), position(ownPosition) {}

    KivxNodeType type;
    /// The value of an operand, the name of an operator, `none` for an unknown word.
    KivxValue value;
    /// Null unless the node is an operator.
    const KivxOperatorTable::Operator* op;
    /// Byte offset in the expression of the first character, a literal's opening quote or bracket included.
    std::size_t position;
};
