#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Text/Json.h"

/// Parses JSON and takes the nulls out of it.
class KIVVendorJSONSerializationNullRemover {
public:
    /// Nothing when the text is no JSON document; `error`, when given, then says why. With `removingNulls`,
    /// members with a null value are dropped at every depth, and so are null elements of arrays unless
    /// `ignoreArrays`, which leaves arrays and all inside them alone.
    static std::optional<kiv::json::value> JSONObjectWithData(std::string_view data, std::string* error,
                                                              bool removingNulls, bool ignoreArrays,
                                                              kiv::json::storage_ptr storage = {});
};
