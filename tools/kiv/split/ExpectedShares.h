#pragma once

#include <compare>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "KivxLanguage/KivxEvaluationResult.h"
#include "evaluate/EvaluationWorld.h"

namespace kiv::tool {

/// What a flag gives a user: a text, or its default, and why.
struct FlagOutcome {
    enum class Kind { value, undefined, failed, noText };

    Kind kind = Kind::value;
    std::string text = {}; ///< of a value

    /// As `KivxParser::evaluateExpression` answers.
    static FlagOutcome of(const std::optional<KivxEvaluationResult>& result);

    auto operator<=>(const FlagOutcome&) const = default;
};

/// The share of each outcome of a flag, or why it cannot be told.
struct ExpectedShares {
    std::optional<std::map<FlagOutcome, double>> shares = {};
    std::string obstacle = {}; ///< the operator that the reading stopped at; may be empty
};

/// Reads the expression of a flag, and those of the flags and target groups that it asks for, as they are for
/// all users at once: ids that are all different give each seed that they are part of a bucket of its own,
/// and those of different seeds have nothing to do with one another. All else is evaluated as the world has
/// it.
///
/// The flag has an experiment. `property` is the one that holds the ids. What looks at the ids themselves,
/// and what is too large to be followed, cannot be told.
ExpectedShares expectedShares(const EvaluationWorld& world, std::string_view flagName,
                              std::string_view property);

} // namespace kiv::tool
