#include "Runtime/KIVAutoCodingObject.h"

namespace {

template <class Visit>
void forEach(const KIVAutoCodingObject::Table& properties, Visit&& visit) {
    for (const auto* table = &properties; table; table = table->base) {
        for (const auto& property : table->own) {
            visit(property);
        }
    }
}

} // namespace

std::vector<std::string> KIVAutoCodingObject::propertyNames() const {
    std::vector<std::string> names;
    forEach(archivedProperties(), [&](const Property& property) { names.push_back(property.name); });
    return names;
}

void KIVAutoCodingObject::encodeWithCoder(kiv::json::object& archive) const {
    forEach(archivedProperties(),
            [&](const Property& property) { archive[property.name] = property.get(*this); });
}

void KIVAutoCodingObject::decodeWithCoder(const kiv::json::object& archive) {
    forEach(archivedProperties(), [&](const Property& property) {
        if (const auto* value = archive.if_contains(property.name)) {
            property.set(*this, *value);
        }
    });
}
