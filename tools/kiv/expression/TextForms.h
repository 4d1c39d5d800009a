#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kiv::tool {

/// Why a text is not what an operator needs, and what to write.
struct FormProblem {
    std::string problem; ///< follows the text itself: "YQ" + " is no Base64: its padding is missing"
    std::string advice;  ///< a sentence; may be empty
};

/// Why `b64d` gives undefined for the text; nothing when it gives a text.
std::optional<FormProblem> base64Problem(std::string_view text);

/// Why a version operator probably does not compare the text as its author means it. Nothing for a version
/// that begins with a digit and has no white space around it, and for a text that is no version at all.
std::optional<FormProblem> versionProblem(std::string_view text);

/// True for digits with at least two points between them, as in 1.2.3: a version, and no number.
bool isVersion(std::string_view text);

/// What to write for a text that is meant as a number but does not read as one; empty when that is not known.
std::string adviceForNumber(std::string_view text);

/// Why a pattern that does not compile is refused, from what the regular expression engine said about it.
std::string patternProblem(std::string_view pattern, std::string_view error);

/// What to write for a text whose author meant it to end with its last character, a backslash.
std::string adviceForLastBackslash(std::string_view text);

/// The first character of the text that a reader cannot see and probably did not write on purpose, for a
/// message: U+200B (zero width space). Empty when there is none. Counts other spaces than the ordinary one
/// with `withSpaces` only, because a text may well contain them.
std::string invisibleCharacter(std::string_view text, bool withSpaces);

} // namespace kiv::tool
