#include "KivxLanguage/KivxOperatorTable.h"

#include <cstdint>
#include <utility>

namespace {

constexpr unsigned freeSlot = ~0U;

/// Of a constant number of characters, as names are short and few: those that agree in all of them share a
/// probe.
std::size_t hash(std::string_view name) {
    if (name.empty()) {
        return 0;
    }
    const auto character = [name](std::size_t index) { return static_cast<std::uint8_t>(name[index]); };
    const std::uint32_t mixed = character(0) | std::uint32_t{character(name.size() / 2)} << 8 |
                                std::uint32_t{character(name.size() - 1)} << 16 |
                                static_cast<std::uint32_t>(name.size()) << 24;
    return (mixed * 0x9E3779B1U) >> 16;
}

/// The slot that holds the name, or the free one where it belongs.
std::size_t slotOf(std::string_view name, const std::vector<KivxOperatorTable::Operator>& operators,
                   const std::vector<unsigned>& slots) {
    const std::size_t mask = slots.size() - 1;
    std::size_t slot = hash(name) & mask;
    while (slots[slot] != freeSlot && operators[slots[slot]].name != name) {
        slot = (slot + 1) & mask;
    }
    return slot;
}

} // namespace

KivxOperatorTable::KivxOperatorTable() : slots_(64, freeSlot) {}

void KivxOperatorTable::set(std::string_view name, KivxOperatorHandler handler) {
    const std::size_t slot = slotOf(name, operators_, slots_);
    if (slots_[slot] != freeSlot) {
        operators_[slots_[slot]].handler = std::move(handler);
        return;
    }
    slots_[slot] = static_cast<unsigned>(operators_.size());
    operators_.push_back({std::string(name), std::move(handler)});
    // At least half of the slots stay free.
    if (operators_.size() * 2 > slots_.size()) {
        slots_.assign(slots_.size() * 2, freeSlot);
        for (unsigned i = 0; i < operators_.size(); ++i) {
            slots_[slotOf(operators_[i].name, operators_, slots_)] = i;
        }
    }
}

const KivxOperatorTable::Operator* KivxOperatorTable::find(std::string_view name) const {
    const unsigned index = slots_[slotOf(name, operators_, slots_)];
    return index == freeSlot ? nullptr : &operators_[index];
}

std::vector<std::string> KivxOperatorTable::names() const {
    std::vector<std::string> names;
    for (const Operator& each : operators_) {
        names.push_back(each.name);
    }
    return names;
}
