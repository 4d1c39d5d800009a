#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Text/ShortText.h"

class KivxParser;
class KivxStack;
struct EvaluationContext;

/// Pops an operator's arguments, first argument first, and pushes one result; fails by throwing. `flagName`
/// is the flag whose expression is being evaluated.
using KivxOperatorHandler = std::function<void(const KivxParser& parser, KivxStack& stack,
                                               std::string_view flagName, const EvaluationContext& context)>;

/// The operators by name. Every word of every expression is looked up here: a look-up allocates nothing, and
/// a name of up to 16 bytes is compared without reading it byte by byte.
class KivxOperatorTable {
public:
    struct Operator {
        std::string name;
        KivxOperatorHandler handler;
        /// The same handler when it needs the stack alone; else null. It is called without any detour.
        void (*plain)(KivxStack& stack) = nullptr;
    };

    KivxOperatorTable() : slots_(128) {}

    /// Adds an operator; a present operator of that name gets the handler.
    void set(std::string_view name, KivxOperatorHandler handler, void (*plain)(KivxStack& stack) = nullptr) {
        const Slot& present = slots_[slotOf(name)];
        if (present.index != freeSlot) {
            operators_[present.index].handler = std::move(handler);
            operators_[present.index].plain = plain;
            return;
        }
        operators_.push_back({std::string(name), std::move(handler), plain});
        // Most slots stay free, so that the first one that is looked at is nearly always the last one.
        slots_.assign(operators_.size() * 4 > slots_.size() ? slots_.size() * 2 : slots_.size(), Slot());
        for (std::size_t i = 0; i < operators_.size(); ++i) {
            const kiv::TextEnds ends(operators_[i].name);
            slots_[slotOf(operators_[i].name)] = {ends.head, ends.tail, ends.size, i};
        }
    }

    /// Null when there is no operator of that name. Valid until the next `set`.
    const Operator* find(std::string_view name) const {
        const std::size_t index = slots_[slotOf(name)].index;
        return index == freeSlot ? nullptr : &operators_[index];
    }

    /// The names, in the order in which the operators were added.
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const Operator& each : operators_) {
            names.push_back(each.name);
        }
        return names;
    }

private:
    static constexpr auto freeSlot = static_cast<std::size_t>(-1);

    /// A slot of the hash table: an index into `operators_`, and the ends and the length of the operator's
    /// name, which tell names of up to 16 bytes apart.
    struct Slot {
        std::uint64_t head = 0;
        std::uint64_t tail = 0;
        std::size_t size = 0;
        std::size_t index = freeSlot;
    };

    /// The index of the slot that holds the name; else of the free slot where the name belongs.
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
