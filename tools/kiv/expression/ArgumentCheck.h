#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "expression/ExpressionLexer.h"
#include "expression/OperatorSignatures.h"

namespace kiv::tool {

using Names = std::set<std::string, std::less<>>;

/// What is wrong with an argument of an operator.
struct ArgumentProblem {
    bool isError;
    std::string message;
    std::string advice = {};
};

/// Checks the argument `index` (below the arity) of `op`. Only literals are checked, because nobody knows
/// what a call will answer. Without `targetGroups` (null) a target group is not looked up.
std::optional<ArgumentProblem> checkArgument(const OperatorSignature& op, std::size_t index,
                                             const Token& argument, const Names* targetGroups);

/// The number that a literal is, or that its text reads as; nothing for all other arguments.
std::optional<double> numberOf(const Token& argument);

} // namespace kiv::tool
