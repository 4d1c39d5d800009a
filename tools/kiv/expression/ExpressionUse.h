#pragma once

#include <string_view>

namespace kiv::tool {

/// What the value of an expression decides: a flag, who is in a target group, or nothing, when somebody
/// evaluates the expression on its own.
enum class ExpressionUse { flag, targetGroup, alone };

/// What a failure of the whole expression means, as a sentence. Empty for an expression on its own: whoever
/// evaluates it sees the failure.
constexpr std::string_view meaningOfFailure(ExpressionUse use) {
    return use == ExpressionUse::flag          ? "The evaluation fails: the flag keeps its default."
           : use == ExpressionUse::targetGroup ? "The evaluation fails: nobody is in the target group."
                                               : "";
}

} // namespace kiv::tool
