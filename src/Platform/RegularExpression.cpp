#include "Platform/RegularExpression.h"

#include <array>
#include <cstdint>
#include <limits>
#include <list>
#include <memory>
#include <utility>

#include <unicode/uregex.h>
#include <unicode/ustring.h>

namespace kiv {
namespace {

constexpr std::size_t keptPatterns = 16;

constexpr std::int32_t stackLimit = 8'000'000; ///< bytes

struct RegexCloser {
    void operator()(URegularExpression* regex) const { uregex_close(regex); }
};
using Regex = std::unique_ptr<URegularExpression, RegexCloser>;

/// UTF-8 as UTF-16, malformed sequences replaced; short texts stay off the heap.
class Utf16 {
public:
    explicit Utf16(std::string_view text) {
        if (text.size() > small_.size()) {
            large_ = std::make_unique<UChar[]>(text.size());
        }
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF8WithSub(large_ ? large_.get() : small_.data(),
                             static_cast<std::int32_t>(large_ ? text.size() : small_.size()), &length_,
                             text.data(), static_cast<std::int32_t>(text.size()), 0xFFFD, nullptr, &status);
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

/// ICU makes what all its patterns share with the first one, and others only read it: one thread goes first.
void prepareLibrary() {
    static const bool prepared = [] {
        UErrorCode status = U_ZERO_ERROR;
        const Regex first(uregex_open(u"x", 1, 0, nullptr, &status));
        return U_SUCCESS(status);
    }();
    static_cast<void>(prepared);
}

Regex compile(std::string_view pattern, std::uint32_t flags, std::string& error) {
    prepareLibrary();
    const Utf16 text(pattern);
    UErrorCode status = U_ZERO_ERROR;
    UParseError where{};
    Regex regex(uregex_open(text.data(), text.length(), flags, &where, &status));
    if (U_FAILURE(status)) {
        error = std::string(u_errorName(status)) + " at " + std::to_string(where.offset);
        return nullptr;
    }
    uregex_setStackLimit(regex.get(), stackLimit, &status);
    uregex_useAnchoringBounds(regex.get(), false, &status);
    return regex;
}

/// Whether this thread's cache has gone with the thread's other objects. It has no destructor, so it can be
/// asked until the thread ends.
thread_local bool cacheIsGone = false;

/// The patterns that a thread used last, the latest first.
class PatternCache {
public:
    PatternCache() = default;
    ~PatternCache() { cacheIsGone = true; }
    PatternCache(const PatternCache&) = delete;
    PatternCache& operator=(const PatternCache&) = delete;

    static PatternCache& ofThread() {
        thread_local PatternCache cache;
        return cache;
    }

    /// Compiled now unless kept; null when it does not compile.
    URegularExpression* find(std::string_view pattern, std::uint32_t flags, std::string& error) {
        for (auto each = kept_.begin(); each != kept_.end(); ++each) {
            if (each->flags == flags && each->pattern == pattern) {
                kept_.splice(kept_.begin(), kept_, each);
                return each->regex.get();
            }
        }
        Regex regex = compile(pattern, flags, error);
        if (!regex) {
            return nullptr;
        }
        kept_.push_front({std::string(pattern), flags, std::move(regex)});
        if (kept_.size() > keptPatterns) {
            kept_.pop_back();
        }
        return kept_.front().regex.get();
    }

private:
    struct Entry {
        std::string pattern;
        std::uint32_t flags;
        Regex regex;
    };

    std::list<Entry> kept_;
};

/// Called by ICU after each 10,000 saved states; false ends the search.
UBool takeStep(const void* context, std::int32_t) {
    RegularExpressionSteps& steps = *static_cast<RegularExpressionSteps*>(const_cast<void*>(context));
    return ++steps.taken < steps.limit;
}

RegularExpressionOutcome search(URegularExpression* regex, std::string_view text,
                                RegularExpressionSteps& steps, std::string& error) {
    const Utf16 searched(text);
    UErrorCode status = U_ZERO_ERROR;
    uregex_setMatchCallback(regex, takeStep, &steps, &status);
    // The text goes away before the pattern does, which does not look at it again.
    uregex_setText(regex, searched.data(), searched.length(), &status);
    const bool found = uregex_find(regex, 0, &status);
    if (U_FAILURE(status)) {
        error = u_errorName(status);
        return RegularExpressionOutcome::exhausted;
    }
    return found ? RegularExpressionOutcome::match : RegularExpressionOutcome::noMatch;
}

} // namespace

RegularExpressionOutcome searchRegularExpression(std::string_view text, std::string_view pattern,
                                                 const RegularExpressionOptions& options,
                                                 RegularExpressionSteps& steps, std::string& error) {
    constexpr auto longest = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
    if (text.size() > longest || pattern.size() > longest) {
        error = "too long";
        return text.size() > longest ? RegularExpressionOutcome::exhausted
                                     : RegularExpressionOutcome::badPattern;
    }
    const std::uint32_t flags = flagsOf(options);
    Regex lone;
    if (cacheIsGone) {
        lone = compile(pattern, flags, error);
    }
    URegularExpression* const regex =
        cacheIsGone ? lone.get() : PatternCache::ofThread().find(pattern, flags, error);
    return regex ? search(regex, text, steps, error) : RegularExpressionOutcome::badPattern;
}

} // namespace kiv
