#pragma once

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

/// Searches the whole text for the pattern (ICU syntax; both UTF-8). A pattern that does not compile is
/// `badPattern` and `error` names what is wrong; a search that runs into its limit of time or stack is
/// `exhausted`. Compiled patterns are kept for each thread, a few at a time. Does not throw.
RegularExpressionOutcome searchRegularExpression(std::string_view text, std::string_view pattern,
                                                 const RegularExpressionOptions& options, std::string& error);

} // namespace kiv
