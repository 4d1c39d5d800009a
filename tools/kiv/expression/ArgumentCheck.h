#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "expression/ExpressionLexer.h"
#include "expression/OperatorSignatures.h"

namespace kiv::tool {

using Names = std::set<std::string, std::less<>>;

/// Why an argument cannot do what its operator is asked for.
struct ArgumentProblem {
    bool isError;
    std::string message;
    std::string advice = {};
};

/// Looks at an argument that is a literal; of what an operator will answer nothing is known. `index` is below
/// the operator's arity; `targetGroups` may be null.
std::optional<ArgumentProblem> checkArgument(const OperatorSignature& op, std::size_t index,
                                             const Token& argument, const Names* targetGroups);

/// The number that a literal argument is or reads as.
std::optional<double> numberOf(const Token& argument);

} // namespace kiv::tool
