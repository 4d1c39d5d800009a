#pragma once

#include <compare>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "KivxLanguage/KivxEvaluationResult.h"
#include "evaluate/EvaluationWorld.h"

namespace kiv::tool {

/// What a flag gives a user: a text, or the application's default with the reason for it.
struct FlagOutcome {
    enum class Kind { value, undefined, failed, noText };

    Kind kind = Kind::value;
    std::string text = {}; ///< of a value

    /// The outcome for a result of `KivxParser::evaluateExpression`.
    static FlagOutcome of(const std::optional<KivxEvaluationResult>& result);

    auto operator<=>(const FlagOutcome&) const = default;
};

/// The share of each outcome of a flag (0 to 1); nothing when the shares cannot be computed.
struct ExpectedShares {
    std::optional<std::map<FlagOutcome, double>> shares = {};
    std::string obstacle = {}; ///< the operator that prevents the computation; may be empty
    std::string circle = {};   ///< the flag or target group that depends on itself; empty when there is none
};

/// Computes the shares from the expression of a flag, and from the expressions of the flags and target groups
/// that it asks for, without evaluating them for single users. All ids are taken to be different. A seed that
/// contains the id then spreads the users evenly over its buckets, and the buckets of different seeds are
/// independent. Evaluates everything that does not depend on the id as `world` does.
///
/// The flag must have an experiment in `world`. `property` is the name of the property that holds the ids.
/// There are no shares when an operator looks at the ids themselves, or when the expression is too large.
ExpectedShares expectedShares(const EvaluationWorld& world, std::string_view flagName,
                              std::string_view property);

} // namespace kiv::tool
