#include "KivxLanguage/KivxOperatorTable.h"

#include <utility>

KivxOperatorTable::KivxOperatorTable() : slots_(64) {}

void KivxOperatorTable::set(std::string_view name, KivxOperatorHandler handler) {
    const Slot& present = slots_[slotOf(name)];
    if (present.index != freeSlot) {
        operators_[present.index].handler = std::move(handler);
        return;
    }
    operators_.push_back({std::string(name), std::move(handler)});
    // At least half of the slots stay free.
    slots_.assign(operators_.size() * 2 > slots_.size() ? slots_.size() * 2 : slots_.size(), Slot());
    for (std::size_t i = 0; i < operators_.size(); ++i) {
        const kiv::TextEnds ends(operators_[i].name);
        slots_[slotOf(operators_[i].name)] = {ends.head, ends.tail, ends.size, i};
    }
}

std::vector<std::string> KivxOperatorTable::names() const {
    std::vector<std::string> names;
    for (const Operator& each : operators_) {
        names.push_back(each.name);
    }
    return names;
}
