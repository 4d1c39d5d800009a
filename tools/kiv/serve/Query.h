#pragma once

#include <string>
#include <string_view>

namespace kiv::tool {

/// The value of the parameter in the query of an address, decoded; empty when there is no such parameter.
std::string parameter(std::string_view query, std::string_view name);

/// The text, or its beginning and "…" when it has more than 300 bytes. For pages, because applications may
/// have sent anything.
std::string shortened(std::string_view text);

} // namespace kiv::tool
