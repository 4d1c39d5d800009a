#include "Runtime/KIVVendorJSONSerializationNullRemover.h"

#include <algorithm>
#include <utility>

namespace {

using kiv::json::value;

/// Copies the members that stay: each removal in place would move all members behind it.
void dropNullMembers(kiv::json::object& object) {
    if (std::none_of(object.begin(), object.end(),
                     [](const auto& member) { return member.value().is_null(); })) {
        return;
    }
    kiv::json::object kept(object.storage());
    kept.reserve(object.size());
    for (auto& member : object) {
        if (!member.value().is_null()) {
            kept.emplace(member.key(), std::move(member.value()));
        }
    }
    object = std::move(kept);
}

// The recursion is as deep as the document, and `parseJson` limits that.
void removeNulls(value& node, bool ignoreArrays) {
    if (auto* object = node.if_object()) {
        dropNullMembers(*object);
        for (auto& member : *object) {
            removeNulls(member.value(), ignoreArrays);
        }
    } else if (auto* array = node.if_array(); array && !ignoreArrays) {
        const auto kept =
            std::remove_if(array->begin(), array->end(), [](const value& v) { return v.is_null(); });
        if (kept != array->end()) { // all empty arrays share one object, which `erase` would write to
            array->erase(kept, array->end());
        }
        for (value& element : *array) {
            removeNulls(element, ignoreArrays);
        }
    }
}

} // namespace

std::optional<value> KIVVendorJSONSerializationNullRemover::JSONObjectWithData(
    std::string_view data, std::string* error, bool removingNulls, bool ignoreArrays,
    kiv::json::storage_ptr storage, std::size_t mostValues) {
    auto document = kiv::parseJson(data, error, std::move(storage), mostValues);
    if (document && removingNulls) {
        removeNulls(*document, ignoreArrays);
    }
    return document;
}
