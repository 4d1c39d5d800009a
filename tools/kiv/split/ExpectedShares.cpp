#include "split/ExpectedShares.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include <kiv/KIVException.h>

#include "KivxLanguage/KivxStack.h"
#include "KivxLanguage/KivxTokenizedExpression.h"
#include "Terminal.h"
#include "evaluate/ValueText.h"
#include "expression/OperatorSignatures.h"
#include "split/Meaning.h"

namespace kiv::tool {
namespace {

/// Evaluates as `KivxParser` does, for all users at once.
class Reading {
public:
    Reading(const EvaluationWorld& world, std::string_view property) : world_(world), property_(property) {}

    Pieces read(std::string_view expression, std::string_view flagName) {
        // Well below the limits of the evaluator.
        constexpr std::size_t deepest = 16;
        constexpr std::size_t mostReadings = 1000;
        constexpr std::size_t mostBytes = 1U << 20;
        bytes_ += expression.size();
        if (isUnderWay(expression, flagName)) {
            closesCircle_ = true;
            return {{{}, Failure()}};
        }
        if (underWay_.size() == deepest || ++readings_ > mostReadings || bytes_ > mostBytes) {
            return {{{}, Unknown()}};
        }
        underWay_.emplace_back(expression, flagName);
        Pieces pieces;
        try {
            pieces = walk(expression, flagName);
        } catch (const KIVException&) { // from the tokenizer
            pieces = {{{}, Failure()}};
        }
        underWay_.pop_back();
        return pieces;
    }

    const std::string& obstacle() const { return obstacle_; }
    const std::string& circle() const { return circle_; }

private:
    using Arguments = std::vector<Meaning>;

    /// Whether the evaluator would refuse the expression because it depends on itself.
    bool isUnderWay(std::string_view expression, std::string_view flagName) const {
        return std::ranges::any_of(underWay_, [&](const auto& each) {
            return each.first.data() == expression.data() && each.first.size() == expression.size() &&
                   each.second == flagName;
        });
    }

    /// Remembers what depends on itself, when the last `read` was refused for that.
    void noteCircle(std::string_view kind, std::string_view name) {
        if (std::exchange(closesCircle_, false) && circle_.empty()) {
            circle_ = std::string(kind) + " " + inQuotes(name);
        }
    }

    Pieces walk(std::string_view expression, std::string_view flagName) {
        const KivxTokenizedExpression cut(expression, world_.parser().operators());
        std::vector<Pieces> stack;
        const auto tokens = cut.tokens();
        for (auto node = tokens.rbegin(); node != tokens.rend(); ++node) {
            if (node->type == KivxNodeTypeUnknown) {
                return {{{}, Failure()}};
            }
            if (node->type == KivxNodeTypeOperand) {
                stack.push_back({{{}, KivxValue(node->value).owned()}});
                continue;
            }
            const OperatorSignature* signature = operatorSignature(node->op->name);
            if (!signature) {
                return {{{}, unknown(node->op->name)}};
            }
            std::vector<Pieces> arguments;
            for (std::size_t count = std::min(signature->arity(), stack.size()); count > 0; --count) {
                arguments.push_back(std::move(stack.back()));
                stack.pop_back();
            }
            stack.push_back(applied(*node->op, arguments, flagName));
        }
        if (stack.empty()) {
            return {{{}, Failure()}};
        }
        Pieces value = std::move(stack.back());
        stack.pop_back();
        for (const Pieces& leftOver : stack) {
            if ((steps_ += value.size() * leftOver.size()) > mostSteps) {
                return {{{}, Unknown()}};
            }
            value = failingWith(std::move(value), leftOver);
        }
        return value;
    }

    /// Applies the operator to each combination of its arguments' pieces.
    Pieces applied(const KivxOperatorTable::Operator& op, const std::vector<Pieces>& arguments,
                   std::string_view flagName) {
        std::vector<std::pair<Region, Arguments>> combinations(1);
        for (const Pieces& argument : arguments) {
            std::vector<std::pair<Region, Arguments>> more;
            for (const auto& [region, meanings] : combinations) {
                for (const Piece& piece : argument) {
                    if (auto both = intersection(region, piece.region)) {
                        more.emplace_back(std::move(*both), meanings);
                        more.back().second.push_back(piece.meaning);
                    }
                }
            }
            combinations = std::move(more);
            if (combinations.size() > mostPieces || (steps_ += combinations.size()) > mostSteps) {
                return {{{}, unknown(op.name)}};
            }
        }
        Pieces result;
        for (const auto& [region, meanings] : combinations) {
            for (Piece& piece : appliedOnce(op, meanings, flagName)) {
                if (auto both = intersection(region, piece.region)) {
                    result.push_back({std::move(*both), std::move(piece.meaning)});
                }
            }
        }
        return result;
    }

    Pieces appliedOnce(const KivxOperatorTable::Operator& op, const Arguments& arguments,
                       std::string_view flagName) {
        const auto holds = [&arguments]<class Kind>(std::in_place_type_t<Kind>) {
            return std::ranges::any_of(
                arguments, [](const Meaning& each) { return std::holds_alternative<Kind>(each); });
        };
        // A failure in any argument ends the whole evaluation.
        if (holds(std::in_place_type<Failure>)) {
            return {{{}, Failure()}};
        }
        if (holds(std::in_place_type<Unknown>)) {
            return {{{}, Unknown()}};
        }
        if (auto special = appliedToIds(op, arguments, flagName)) {
            return std::move(*special);
        }
        if (holds(std::in_place_type<IdText>)) {
            return {{{}, unknown(op.name)}};
        }
        return {{{}, computed(op, arguments, flagName)}};
    }

    /// The result of an operator that has a known result although an argument contains the id, or that
    /// evaluates another expression; nothing for all other operators.
    std::optional<Pieces> appliedToIds(const KivxOperatorTable::Operator& op, const Arguments& arguments,
                                       std::string_view flagName) {
        const std::string& name = op.name;
        const auto text = [&](std::size_t index) -> std::optional<std::string_view> {
            const auto* value =
                index < arguments.size() ? std::get_if<KivxValue>(&arguments[index]) : nullptr;
            return value ? value->text() : std::nullopt;
        };
        const auto holdsId = [&](std::size_t index) {
            return index < arguments.size() && std::holds_alternative<IdText>(arguments[index]);
        };
        if (name == "property" && text(0) == property_) {
            return Pieces{{{}, IdText{{"", ""}}}};
        }
        if (name == "isUndefined" && holdsId(0)) {
            return Pieces{{{}, KivxValue(false)}};
        }
        if (name == "ifThen" && arguments.size() == 3 && std::holds_alternative<KivxValue>(arguments[0])) {
            return Pieces{{{}, chosen(arguments)}};
        }
        if ((name == "mergeSeed" || name == "concat") && arguments.size() == 2 &&
            (holdsId(0) || holdsId(1))) {
            return Pieces{{{}, joinedMeaning(arguments, name == "mergeSeed" ? "." : "", name == "concat")}};
        }
        if (name == "isInPercentage" && holdsId(1)) {
            return percentage(arguments[0], nullptr, std::get<IdText>(arguments[1]), op.name);
        }
        if (name == "isInPercentageRange" && holdsId(2)) {
            return percentage(arguments[1], &arguments[0], std::get<IdText>(arguments[2]), op.name);
        }
        if (name == "flagValue" && text(0)) {
            return valueOfFlag(*text(0));
        }
        if (name == "isInTargetGroup" && text(0)) {
            return isInTargetGroup(*text(0), flagName);
        }
        return {};
    }

    /// Runs the operator itself, on values that are the same for all users.
    Meaning computed(const KivxOperatorTable::Operator& op, const Arguments& arguments,
                     std::string_view flagName) {
        KivxStack stack(account_);
        for (auto argument = arguments.rbegin(); argument != arguments.rend(); ++argument) {
            stack.push(std::get<KivxValue>(*argument));
        }
        try {
            const kiv::ReadGuard guard;
            op.handler(world_.parser(), stack, flagName, world_.context());
            const bool isWithinLimits = stack.size() == 1 && account_.rest() > KivxAccount().rest() / 2;
            return isWithinLimits ? Meaning(stack.pop().owned()) : Meaning(unknown(op.name));
        } catch (...) {
            return Failure();
        }
    }

    /// Splits the users by the bucket of the seed, which is a number from 0 to below 1. That a bucket lies
    /// exactly on an edge is too rare to count.
    Pieces percentage(const Meaning& high, const Meaning* low, const IdText& text, std::string_view name) {
        double from = 0;
        double to = 0;
        for (const auto& [meaning, edge] : {std::pair(&high, &to), std::pair(low, &from)}) {
            if (!meaning) {
                continue;
            }
            const auto* value = std::get_if<KivxValue>(meaning);
            if (!value) {
                return {{{}, unknown(name)}};
            }
            try {
                *edge = std::clamp(value->doubleValue(), 0.0, 1.0);
            } catch (const KIVException&) {
                return {{{}, Failure()}};
            }
        }
        const IdText seed = asSeed(text);
        if (seed.parts.size() == 1) {
            return {{{}, unknown(name)}}; // the seed does not contain the id
        }
        to = std::max(from, to);
        Pieces pieces;
        for (const auto& [interval, inside] :
             {std::pair(Interval{0, from}, false), {Interval{from, to}, true}, {Interval{to, 1}, false}}) {
            if (interval.from < interval.to) {
                pieces.push_back({{{seed, interval}}, KivxValue(inside)});
            }
        }
        return pieces;
    }

    Pieces valueOfFlag(std::string_view name) {
        const KIVExperimentModel* experiment = world_.experimentFor(name);
        if (!experiment) {
            return {{{}, KivxValue("false")}};
        }
        Pieces pieces = read(experiment->deploymentConfiguration().condition(), name);
        noteCircle("flag", name);
        for (Piece& piece : pieces) {
            const auto* value = std::get_if<KivxValue>(&piece.meaning);
            if (value || std::holds_alternative<Failure>(piece.meaning)) {
                const auto text = value ? value->stringValue() : std::nullopt;
                piece.meaning = KivxValue(text.value_or("false"));
            }
        }
        return pieces;
    }

    Pieces isInTargetGroup(std::string_view identifier, std::string_view flagName) {
        const std::string* condition = world_.conditionOfTargetGroup(identifier);
        if (!condition) {
            return {{{}, KivxValue(false)}};
        }
        Pieces pieces = read(*condition, flagName);
        noteCircle("target group", identifier);
        for (Piece& piece : pieces) {
            piece.meaning = asMembership(piece.meaning);
        }
        return pieces;
    }

    Meaning asMembership(const Meaning& meaning) {
        if (std::holds_alternative<Failure>(meaning)) {
            return KivxValue(false);
        }
        const auto* value = std::get_if<KivxValue>(&meaning);
        if (!value) {
            return unknown("isInTargetGroup");
        }
        try {
            return KivxValue(holds(*value));
        } catch (const KIVException&) {
            return Failure();
        }
    }

    Unknown unknown(std::string_view name) {
        if (obstacle_.empty()) {
            obstacle_ = name;
        }
        return {};
    }

    static constexpr std::size_t mostPieces = 1000;
    static constexpr std::size_t mostSteps = 200'000;

    const EvaluationWorld& world_;
    const std::string_view property_;
    /// The expressions that are being read, each inside the one before it, with the flags that they are for.
    std::vector<std::pair<std::string_view, std::string_view>> underWay_;
    bool closesCircle_ = false; ///< the last `read` was refused: the expression depends on itself
    std::size_t readings_ = 0;
    std::size_t bytes_ = 0;
    std::size_t steps_ = 0;
    KivxAccount account_;
    std::string obstacle_;
    std::string circle_;
};

} // namespace

FlagOutcome FlagOutcome::of(const std::optional<KivxEvaluationResult>& result) {
    if (!result) {
        return {Kind::undefined};
    }
    if (result->value().isNone()) {
        return {Kind::failed};
    }
    auto text = result->stringValue();
    return text ? FlagOutcome{Kind::value, std::move(*text)} : FlagOutcome{Kind::noText};
}

ExpectedShares expectedShares(const EvaluationWorld& world, std::string_view flagName,
                              std::string_view property) {
    Reading reading(world, property);
    const KIVExperimentModel& experiment = *world.experimentFor(flagName);
    std::map<FlagOutcome, double> shares;
    for (const Piece& piece : reading.read(experiment.deploymentConfiguration().condition(), flagName)) {
        const auto* value = std::get_if<KivxValue>(&piece.meaning);
        if (!value && !std::holds_alternative<Failure>(piece.meaning)) {
            return {std::nullopt, reading.obstacle(), reading.circle()};
        }
        const FlagOutcome outcome = !value                 ? FlagOutcome{FlagOutcome::Kind::failed}
                                    : value->isUndefined() ? FlagOutcome{FlagOutcome::Kind::undefined}
                                                           : FlagOutcome::of(KivxEvaluationResult(*value));
        shares[outcome] += shareOf(piece.region);
    }
    for (auto& [outcome, share] : shares) {
        constexpr double finest = 1e9; // smaller differences are rounding errors
        share = std::round(share * finest) / finest;
    }
    return {std::move(shares), "", reading.circle()};
}

} // namespace kiv::tool
