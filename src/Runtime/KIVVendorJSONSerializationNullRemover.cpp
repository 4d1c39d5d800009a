#include "Runtime/KIVVendorJSONSerializationNullRemover.h"

#include <algorithm>

namespace {

using kiv::json::value;

// As deep as the parser's own limit lets a document nest.
void removeNulls(value& node, bool ignoreArrays) {
    if (auto* object = node.if_object()) {
        for (auto member = object->begin(); member != object->end();) {
            if (member->value().is_null()) {
                member = object->stable_erase(member);
            } else {
                removeNulls(member->value(), ignoreArrays);
                ++member;
            }
        }
    } else if (auto* array = node.if_array(); array && !ignoreArrays) {
        const auto kept = std::remove_if(array->begin(), array->end(), [](const value& v) { return v.is_null(); });
        array->erase(kept, array->end());
        for (value& element : *array) {
            removeNulls(element, ignoreArrays);
        }
    }
}

} // namespace

std::optional<value> KIVVendorJSONSerializationNullRemover::JSONObjectWithData(std::string_view data,
                                                                               std::string* error,
                                                                               bool removingNulls, bool ignoreArrays,
                                                                               kiv::json::storage_ptr storage) {
    auto document = kiv::parseJson(data, error, std::move(storage));
    if (document && removingNulls) {
        removeNulls(*document, ignoreArrays);
    }
    return document;
}
