#pragma once

#include <span>
#include <string>
#include <string_view>

namespace kiv::tool {

/// The candidate that `word` is probably a misspelling of; empty when none is similar enough.
std::string_view closest(std::string_view word, std::span<const std::string_view> candidates);

/// `before`, then "Did you mean X?" with the candidate X that `closest` finds; empty when it finds none.
std::string didYouMean(std::string_view word, std::span<const std::string_view> candidates,
                       std::string_view before = "");

/// The words with commas and a last "and" between them: a, b and c.
std::string listed(std::span<const std::string_view> words);

/// Tells the author of an expression what to write in place of a word that is no operator and no literal.
/// `isCall`: a parenthesis opens after the word.
std::string adviceForUnknownWord(std::string_view word, bool isCall);

} // namespace kiv::tool
