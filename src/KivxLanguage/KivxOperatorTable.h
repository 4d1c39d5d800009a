#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Text/ShortText.h"

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
    const Operator* find(std::string_view name) const {
        const std::size_t index = slots_[slotOf(name)].index;
        return index == freeSlot ? nullptr : &operators_[index];
    }

    std::vector<std::string> names() const;

private:
    static constexpr auto freeSlot = static_cast<std::size_t>(-1);

    /// Of an open-addressed table: a place in `operators_` and enough of the name to tell it apart.
    struct Slot {
        std::uint64_t head = 0;
        std::uint64_t tail = 0;
        std::size_t size = 0;
        std::size_t index = freeSlot;
    };

    /// The slot that holds the name, or the free one where it belongs.
    std::size_t slotOf(std::string_view name) const {
        const kiv::TextEnds ends(name);
        for (std::size_t i = kiv::hashOfEnds(ends);; ++i) {
            const Slot& slot = slots_[i & (slots_.size() - 1)];
            if ((slot.head == ends.head && slot.tail == ends.tail && slot.size == ends.size &&
                 (ends.areAll() || operators_[slot.index].name == name)) ||
                slot.index == freeSlot) {
                return i & (slots_.size() - 1);
            }
        }
    }

    std::vector<Operator> operators_;
    std::vector<Slot> slots_;
};
