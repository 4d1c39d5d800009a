#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Cells of tables that show counts and shares.
namespace kiv::tool {

/// The text, with spaces before it up to `width` columns.
std::string paddedLeft(const std::string& text, std::size_t width);

/// A part from 0 to 1 as " 31.25 %", `percentWidth` columns wide.
std::string percent(double part);
inline constexpr std::size_t percentWidth = 8;

/// A bar for a part from 0 to 1, exact to an eighth of a column; 1 fills `width` columns. A part above 0
/// shows at least an eighth.
std::string bar(double part, std::size_t width);

/// The text as a field of a CSV line, in quotes when it needs them.
std::string csvField(std::string_view text);

} // namespace kiv::tool
