#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kiv {

/// Options of a search. Each means the same as ICU's flag for that purpose.
struct RegularExpressionOptions {
    bool caseInsensitive = false;
    bool comments = false;
    bool dotMatchesLineSeparators = false;
    bool anchorsMatchLines = false;
    bool unicodeWordBoundaries = false;
};

enum class RegularExpressionOutcome { match, noMatch, badPattern, exhausted };

/// How much work searches may do. A unit is the same amount of work on every machine, and takes about a
/// nanosecond at most: what cannot be counted is charged at the highest cost that it may have.
struct RegularExpressionWork {
    std::uint64_t limit;
    std::uint64_t taken = 0; ///< by all searches with this object
    /// Searches of one thread that name the same reader, other than 0, in turn pay once for compiling a
    /// pattern that they share. What they pay does not depend on what the thread has searched for before.
    std::uint64_t reader = 0;
};

/// The work that all searches of one read may do together, rounded down.
inline constexpr std::uint64_t workOfARead = 400'000'000;

/// A pattern may have this many bytes.
inline constexpr std::size_t longestPattern = std::size_t{16} << 10;

/// Searches the whole text for the pattern, in ICU's syntax; both are UTF-8. The outcome is `badPattern` when
/// the pattern does not compile, and `exhausted` when the pattern is too long, or compiling it and the search
/// would take more than is left of the work or 8 MB of stack; `error` then names the cause. Does not throw.
///
/// Each thread keeps the compiled patterns that it used last: at most 512, and as many as take 4 MiB of
/// memory by a rough estimate, with 64 KiB of stack for each.
RegularExpressionOutcome searchRegularExpression(std::string_view text, std::string_view pattern,
                                                 const RegularExpressionOptions& options,
                                                 RegularExpressionWork& work, std::string& error);

} // namespace kiv
