#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Text/Json.h"

/// Parses JSON and removes its nulls.
class KIVVendorJSONSerializationNullRemover {
public:
    /// The document; nothing when the text is not a JSON document, and `error`, when given, then says why.
    /// With `removingNulls`, members with a null value and null elements of arrays are removed at every
    /// depth; `ignoreArrays` leaves arrays and everything inside them as they are. `mostValues` is that of
    /// `parseJson`.
    static std::optional<kiv::json::value>
    JSONObjectWithData(std::string_view data, std::string* error, bool removingNulls, bool ignoreArrays,
                       kiv::json::storage_ptr storage = {}, std::size_t mostValues = kiv::anyNumberOfValues);
};
