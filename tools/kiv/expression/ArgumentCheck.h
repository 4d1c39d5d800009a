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

/// Checks the argument `index` (below the arity) of `op`. Checks literals only, because the value of a call
/// is not known. Does not look up target groups when `targetGroups` is null.
std::optional<ArgumentProblem> checkArgument(const OperatorSignature& op, std::size_t index,
                                             const Token& argument, const Names* targetGroups);

/// The number that a literal is, or that its text reads as; nothing for all other arguments.
std::optional<double> numberOf(const Token& argument);

} // namespace kiv::tool
