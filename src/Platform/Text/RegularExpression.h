#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kiv {

/// Options of a search; they mean what ICU's flags of the same purpose mean.
struct RegularExpressionOptions {
    bool caseInsensitive = false;
    bool comments = false;
    bool dotMatchesLineSeparators = false;
    bool anchorsMatchLines = false;
    bool unicodeWordBoundaries = false;
};

enum class RegularExpressionOutcome { match, noMatch, badPattern, exhausted };

/// What a search may take, in steps of the same number of saved states on every machine, some 0.2 ms each.
struct RegularExpressionSteps {
    std::size_t limit;
    std::size_t taken = 0;
};

/// Searches the whole text for the pattern (ICU syntax; both UTF-8). A pattern that does not compile is
/// `badPattern` and `error` names what is wrong; a search that runs into its limit of steps or of 8 MB of
/// stack is `exhausted`. Compiled patterns are kept for each thread, a few at a time. Does not throw.
RegularExpressionOutcome searchRegularExpression(std::string_view text, std::string_view pattern,
                                                 const RegularExpressionOptions& options,
                                                 RegularExpressionSteps& steps, std::string& error);

} // namespace kiv
