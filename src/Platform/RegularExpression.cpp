#include "Platform/RegularExpression.h"

#include <array>
#include <cstdint>
#include <list>
#include <memory>

#include <unicode/uregex.h>
#include <unicode/ustring.h>

namespace kiv {

namespace {

constexpr std::size_t keptPatterns = 16;
constexpr std::int32_t timeLimit = 50;         ///< in ICU's steps, about a millisecond each
constexpr std::int32_t stackLimit = 8'000'000; ///< bytes

struct RegexCloser {
    void operator()(URegularExpression* regex) const { uregex_close(regex); }
};

struct Compiled {
    std::string pattern;
    std::uint32_t flags;
    std::unique_ptr<URegularExpression, RegexCloser> regex;
};

/// UTF-8 as UTF-16, malformed sequences replaced; short texts stay off the heap.
class Utf16 {
public:
    explicit Utf16(std::string_view text) {
        if (text.size() > small_.size()) {
            large_ = std::make_unique<UChar[]>(text.size());
        }
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF8WithSub(large_ ? large_.get() : small_.data(),
                             static_cast<std::int32_t>(large_ ? text.size() : small_.size()), &length_, text.data(),
                             static_cast<std::int32_t>(text.size()), 0xFFFD, nullptr, &status);
    }

    const UChar* data() const { return large_ ? large_.get() : small_.data(); }
    std::int32_t length() const { return length_; }

private:
    std::array<UChar, 128> small_;
    std::unique_ptr<UChar[]> large_;
    std::int32_t length_ = 0;
};

std::uint32_t flagsOf(const RegularExpressionOptions& options) {
    std::uint32_t flags = 0;
    const auto add = [&flags](bool wanted, std::uint32_t flag) { flags |= wanted ? flag : 0; };
    add(options.caseInsensitive, UREGEX_CASE_INSENSITIVE);
    add(options.comments, UREGEX_COMMENTS);
    add(options.dotMatchesLineSeparators, UREGEX_DOTALL);
    add(options.anchorsMatchLines, UREGEX_MULTILINE);
    add(options.unicodeWordBoundaries, UREGEX_UWORD);
    return flags;
}

std::unique_ptr<URegularExpression, RegexCloser> compile(std::string_view pattern, std::uint32_t flags,
                                                         std::string& error) {
    const Utf16 text(pattern);
    UErrorCode status = U_ZERO_ERROR;
    UParseError where{};
    std::unique_ptr<URegularExpression, RegexCloser> regex(
        uregex_open(text.data(), text.length(), flags, &where, &status));
    if (U_FAILURE(status)) {
        error = std::string(u_errorName(status)) + " at " + std::to_string(where.offset);
        return nullptr;
    }
    uregex_setTimeLimit(regex.get(), timeLimit, &status);
    uregex_setStackLimit(regex.get(), stackLimit, &status);
    uregex_useAnchoringBounds(regex.get(), false, &status);
    return regex;
}

/// The compiled pattern, from those that this thread used last; null when it does not compile.
URegularExpression* compiled(std::string_view pattern, std::uint32_t flags, std::string& error) {
    thread_local std::list<Compiled> kept;
    for (auto each = kept.begin(); each != kept.end(); ++each) {
        if (each->flags == flags && each->pattern == pattern) {
            kept.splice(kept.begin(), kept, each);
            return each->regex.get();
        }
    }
    auto regex = compile(pattern, flags, error);
    if (!regex) {
        return nullptr;
    }
    kept.push_front({std::string(pattern), flags, std::move(regex)});
    if (kept.size() > keptPatterns) {
        kept.pop_back();
    }
    return kept.front().regex.get();
}

} // namespace

RegularExpressionOutcome searchRegularExpression(std::string_view text, std::string_view pattern,
                                                 const RegularExpressionOptions& options, std::string& error) {
    URegularExpression* regex = compiled(pattern, flagsOf(options), error);
    if (!regex) {
        return RegularExpressionOutcome::badPattern;
    }
    const Utf16 searched(text);
    UErrorCode status = U_ZERO_ERROR;
    uregex_setText(regex, searched.data(), searched.length(), &status);
    const bool found = uregex_find(regex, 0, &status);
    // The text goes out of scope, the pattern stays.
    UErrorCode released = U_ZERO_ERROR;
    uregex_setText(regex, u"", 0, &released);
    if (U_FAILURE(status)) {
        error = u_errorName(status);
        return RegularExpressionOutcome::exhausted;
    }
    return found ? RegularExpressionOutcome::match : RegularExpressionOutcome::noMatch;
}

} // namespace kiv
