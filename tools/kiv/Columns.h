#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// What tables of counts and shares are made of.
namespace kiv::tool {

/// The text at the right end of a column of `width`.
std::string paddedLeft(const std::string& text, std::size_t width);

/// "31.25 %", in columns of one width.
std::string percent(double part);
inline constexpr std::size_t percentWidth = 8;

/// A bar that fills `width` columns when the part is all, to an eighth of a column.
std::string bar(double part, std::size_t width);

/// A field of a line of comma-separated values.
std::string csvField(std::string_view text);

} // namespace kiv::tool
