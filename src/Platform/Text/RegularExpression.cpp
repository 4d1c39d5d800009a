#include "Platform/Text/RegularExpression.h"

#include <array>
#include <cstdint>
#include <limits>
#include <list>
#include <memory>
#include <utility>

#include <unicode/regex.h>
#include <unicode/ustring.h>

namespace kiv {
namespace {

constexpr std::size_t keptPatterns = 16;

constexpr std::int32_t stackLimit = 8'000'000; ///< bytes

/// A UTF-8 text as UTF-16, malformed sequences replaced. Short texts need no heap memory.
class Utf16 {
public:
    explicit Utf16(std::string_view text) {
        if (text.size() > small_.size()) {
            large_ = std::make_unique<UChar[]>(text.size());
        }
        UChar* const units = large_ ? large_.get() : small_.data();
        if (widenAscii(text, units)) {
            length_ = static_cast<std::int32_t>(text.size());
            return;
        }
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF8WithSub(units, static_cast<std::int32_t>(large_ ? text.size() : small_.size()), &length_,
                             text.data(), static_cast<std::int32_t>(text.size()), 0xFFFD, nullptr, &status);
    }

    const UChar* data() const { return large_ ? large_.get() : small_.data(); }
    std::int32_t length() const { return length_; }

private:
    /// False when the text is not all ASCII.
    static bool widenAscii(std::string_view text, UChar* units) {
        unsigned char all = 0;
        for (std::size_t i = 0; i < text.size(); ++i) {
            all |= static_cast<unsigned char>(text[i]);
            units[i] = static_cast<unsigned char>(text[i]);
        }
        return all < 0x80;
    }

    std::array<UChar, 128> small_;
    std::unique_ptr<UChar[]> large_;
    std::int32_t length_ = 0;
};

/// A compiled pattern with its matcher and the text that it searches. It is kept for further searches,
/// because making it costs more than a short search.
class Regex {
public:
    Regex(const Utf16& pattern, std::uint32_t flags, UErrorCode& status)
        : matcher_(icu::UnicodeString(false, pattern.data(), pattern.length()), flags, status) {
        matcher_.setStackLimit(stackLimit, status);
        matcher_.useAnchoringBounds(false);
    }

    bool find(const Utf16& text, RegularExpressionSteps& steps, UErrorCode& status) {
        matcher_.setMatchCallback(takeStep, &steps, status);
        // Borrowed: the text does not outlive this call, and the matcher does not read it after the call.
        text_.setTo(false, text.data(), text.length());
        matcher_.reset(text_);
        return matcher_.find(status);
    }

private:
    /// Called by ICU after each 10,000 saved states; false ends the search.
    static UBool takeStep(const void* context, std::int32_t) {
        RegularExpressionSteps& steps = *static_cast<RegularExpressionSteps*>(const_cast<void*>(context));
        return ++steps.taken < steps.limit;
    }

    icu::UnicodeString text_;
    icu::RegexMatcher matcher_;
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

/// Compiles a first pattern on one thread. ICU then makes the data that all patterns share; later patterns
/// only read that data.
void prepareLibrary() {
    static const bool prepared = [] {
        UErrorCode status = U_ZERO_ERROR;
        const icu::RegexMatcher first(icu::UnicodeString("x"), 0, status);
        return U_SUCCESS(status);
    }();
    static_cast<void>(prepared);
}

std::unique_ptr<Regex> compile(std::string_view pattern, std::uint32_t flags, std::string& error) {
    prepareLibrary();
    const Utf16 text(pattern);
    UErrorCode status = pattern.empty() ? U_ILLEGAL_ARGUMENT_ERROR : U_ZERO_ERROR;
    auto regex = std::make_unique<Regex>(text, flags, status);
    if (U_SUCCESS(status)) {
        return regex;
    }
    // The matcher does not say where the fault is; compiling the pattern alone does.
    UParseError where{};
    UErrorCode again = U_ZERO_ERROR;
    const std::unique_ptr<icu::RegexPattern> faulty(icu::RegexPattern::compile(
        icu::UnicodeString(false, text.data(), text.length()), flags, where, again));
    error = std::string(u_errorName(status)) + " at " + std::to_string(where.offset);
    return nullptr;
}

/// Whether this thread's cache was destroyed, as the thread is ending. Unlike the cache it has no destructor,
/// so it can be read until the end.
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

    /// The compiled pattern, from the cache or compiled now; null when the pattern does not compile.
    Regex* find(std::string_view pattern, std::uint32_t flags, std::string& error) {
        for (auto each = kept_.begin(); each != kept_.end(); ++each) {
            if (each->flags == flags && each->pattern == pattern) {
                kept_.splice(kept_.begin(), kept_, each);
                return each->regex.get();
            }
        }
        auto regex = compile(pattern, flags, error);
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
        std::unique_ptr<Regex> regex;
    };

    std::list<Entry> kept_;
};

RegularExpressionOutcome search(Regex& regex, std::string_view text, RegularExpressionSteps& steps,
                                std::string& error) {
    const Utf16 searched(text);
    UErrorCode status = U_ZERO_ERROR;
    const bool found = regex.find(searched, steps, status);
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
    std::unique_ptr<Regex> lone;
    if (cacheIsGone) {
        lone = compile(pattern, flags, error);
    }
    Regex* const regex = cacheIsGone ? lone.get() : PatternCache::ofThread().find(pattern, flags, error);
    return regex ? search(*regex, text, steps, error) : RegularExpressionOutcome::badPattern;
}

} // namespace kiv
