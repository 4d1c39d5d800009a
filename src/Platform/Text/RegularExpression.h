#pragma once

#include <cstddef>
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

/// How long a search may take, in steps. A step is the same amount of work on every machine, 10,000 saved
/// states of the engine, and takes about 0.2 ms.
struct RegularExpressionSteps {
    std::size_t limit;
    std::size_t taken = 0;
};

/// Searches the whole text for the pattern, in ICU's syntax; both are UTF-8. The outcome is `badPattern` when
/// the pattern does not compile, and `exhausted` when the search reaches its limit of steps or 8 MB of stack;
/// `error` then names the cause. Each thread keeps the last few compiled patterns. Does not throw.
RegularExpressionOutcome searchRegularExpression(std::string_view text, std::string_view pattern,
                                                 const RegularExpressionOptions& options,
                                                 RegularExpressionSteps& steps, std::string& error);

} // namespace kiv
