#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kiv::tool {

/// The content of one gzip member; nothing when it is damaged, truncated, followed by something else, or
/// larger than `maxBytes`.
std::optional<std::string> gunzip(std::string_view bytes, std::size_t maxBytes);

} // namespace kiv::tool
