#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "Platform/Http/HttpCall.h"
#include "Platform/Text/Json.h"

namespace kiv::tool {

/// Thrown when a request is wrong: the status of the answer, and what is wrong.
struct Refusal {
    unsigned status;
    std::string reason;
};

/// The JSON object in the call's body, which is unpacked first when it is gzip. Throws `Refusal`, also when
/// the unpacked body has more than `maxBytes` or the object has more than `mostValues` values.
json::object bodyObject(HttpCall& call, std::uint64_t maxBytes, std::size_t mostValues = anyNumberOfValues);

} // namespace kiv::tool
