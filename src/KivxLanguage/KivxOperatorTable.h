#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

class KivxParser;
class KivxStack;
struct EvaluationContext;

/// Pops an operator's arguments, first argument first, and pushes one result; fails by throwing. `flagName`
/// is the flag whose expression is being evaluated.
using KivxOperatorHandler = std::function<void(const KivxParser& parser, KivxStack& stack,
                                               std::string_view flagName, const EvaluationContext& context)>;

/// The operators by name. Look-ups are what every word of an expression costs, so they are cheap.
class KivxOperatorTable {
public:
    struct Operator {
        std::string name;
        KivxOperatorHandler handler;
    };

    KivxOperatorTable();

    /// Adds the operator, or replaces the one of that name.
    void set(std::string_view name, KivxOperatorHandler handler);

    /// Null when there is none. Valid until the next `set`.
    const Operator* find(std::string_view name) const;

    std::vector<std::string> names() const;

private:
    // open addressing over indexes into operators_; see the source for the hash
    std::vector<Operator> operators_;
    std::vector<unsigned> slots_;
};
