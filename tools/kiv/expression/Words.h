#pragma once

#include <span>
#include <string>
#include <string_view>

namespace kiv::tool {

/// The candidate that `word` was probably meant to be; empty when none is near enough.
std::string_view closest(std::string_view word, std::span<const std::string_view> candidates);

/// What the author of an expression should write in place of a word that means nothing. `isCall` tells that a
/// parenthesis opens after it.
std::string adviceForUnknownWord(std::string_view word, bool isCall);

} // namespace kiv::tool
