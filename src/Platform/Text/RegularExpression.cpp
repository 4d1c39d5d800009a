#include "Platform/Text/RegularExpression.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <list>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>

#include <unicode/regex.h>
#include <unicode/ustring.h>

#include "Platform/Text/PatternCost.h"
#include "Platform/Threads/Fork.h"

namespace kiv {
namespace {

constexpr std::size_t keptPatterns = 512;
constexpr std::size_t keptMemory = std::size_t{4} << 20; ///< bytes, as `PatternCost` estimates them

constexpr std::int32_t stackLimit = 8'000'000; ///< bytes
constexpr std::int32_t keptStack = 64 << 10;   ///< bytes

/// A UTF-8 text as UTF-16, malformed sequences replaced. Short texts need no heap memory.
class Utf16 {
public:
    explicit Utf16(std::string_view text) {
        if (text.size() > small_.size()) {
            large_ = std::make_unique<UChar[]>(text.size());
        }
        UChar* const units = large_ ? large_.get() : small_.data();
        isAscii_ = widenAscii(text, units);
        if (isAscii_) {
            length_ = static_cast<std::int32_t>(text.size());
            return;
        }
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF8WithSub(units, static_cast<std::int32_t>(large_ ? text.size() : small_.size()), &length_,
                             text.data(), static_cast<std::int32_t>(text.size()), 0xFFFD, nullptr, &status);
    }

    const UChar* data() const { return large_ ? large_.get() : small_.data(); }
    std::int32_t length() const { return length_; }
    bool isAscii() const { return isAscii_; }

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
    bool isAscii_ = false;
};

/// What a search does with its work while it runs.
struct Meter {
    RegularExpressionWork& work;
    const PatternCost::Search& cost;

    bool take(PatternCost::Work amount) const {
        work.taken += std::min(amount, work.limit - work.taken);
        return work.taken < work.limit;
    }
    bool hasLeft(PatternCost::Work amount) const { return amount < work.limit - work.taken; }

    // ICU calls these; false ends the search.

    /// After each 10,000 saved states.
    static UBool takeStep(const void* context, std::int32_t) {
        const auto& meter = *static_cast<const Meter*>(context);
        return meter.take(meter.cost.perStep);
    }
    /// After each position where a match was looked for.
    static UBool takeStart(const void* context, std::int64_t) {
        const auto& meter = *static_cast<const Meter*>(context);
        return meter.take(meter.cost.perStart);
    }
};

/// A compiled pattern with its matcher and the text that it searches. It is kept for further searches,
/// because making it costs more than a short search.
class Regex {
public:
    Regex(const Utf16& pattern, std::uint32_t flags, UErrorCode& status)
        : findsWords_((flags & UREGEX_UWORD) != 0),
          matcher_(icu::UnicodeString(false, pattern.data(), pattern.length()), flags, status) {
        matcher_.setStackLimit(stackLimit, status);
        matcher_.useAnchoringBounds(false);
    }

    bool find(const Utf16& text, const Meter& meter, UErrorCode& status) {
        std::optional<ForkShield> shield;
        if (findsWords_) { // the first search for words makes ICU's data of words, under locks of ICU
            shield.emplace();
        }
        const auto starts = meter.cost.onlyAtOrigin ? 1 : static_cast<PatternCost::Work>(text.length()) + 1;
        // Most searches can pay for all their positions and need not count them one by one.
        const bool counts = !meter.hasLeft(starts * meter.cost.perStart);
        matcher_.setMatchCallback(Meter::takeStep, &meter, status);
        if (counts) {
            matcher_.setFindProgressCallback(Meter::takeStart, &meter, status);
        }
        // Borrowed: the text does not outlive this call, and the matcher does not read it after the call.
        text_.setTo(false, text.data(), text.length());
        matcher_.reset(text_);
        const bool found = matcher_.find(status);
        if (counts) {
            UErrorCode ignored = U_ZERO_ERROR;
            matcher_.setFindProgressCallback(nullptr, nullptr, ignored);
        } else {
            const auto tried = found ? static_cast<PatternCost::Work>(matcher_.start(status)) + 1 : starts;
            meter.take(std::min(tried, starts) * meter.cost.perStart);
        }
        if (meter.cost.stack > keptStack) { // gives back what a deep search took
            UErrorCode ignored = U_ZERO_ERROR;
            matcher_.setStackLimit(keptStack, ignored);
            matcher_.setStackLimit(stackLimit, ignored);
        }
        return found;
    }

private:
    const bool findsWords_;
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
    const ForkShield shield; // ICU has locks of its own
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

/// A compiled pattern.
struct Pattern {
    std::string text;
    std::uint32_t flags;
    PatternCost cost;
    std::unique_ptr<Regex> regex;
    std::uint64_t reader; ///< who paid for it last

    // The cost of the last search, whose text often has the length of the next search's text.
    std::size_t lastLength = std::string::npos;
    std::size_t lastWideRun = 0;
    PatternCost::Search lastCost{};

    const PatternCost::Search& costOfSearch(std::size_t length, std::size_t longestWideRun) {
        if (lastLength != length || lastWideRun != longestWideRun) {
            lastCost = cost.ofSearch(length, longestWideRun);
            lastLength = length;
            lastWideRun = longestWideRun;
        }
        return lastCost;
    }
};

/// Whether this thread's cache was destroyed, as the thread is ending. Unlike the cache it has no destructor,
/// so it can be read until the end.
thread_local bool cacheIsGone = false;

/// The patterns that a thread used last.
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

    /// The pattern when it is kept, as the one that was used last; null when it is not.
    Pattern* find(std::string_view text, std::uint32_t flags) {
        if (!kept_.empty() && kept_.front().flags == flags && kept_.front().text == text) {
            return &kept_.front();
        }
        const auto found = index_.find({text, flags});
        if (found == index_.end()) {
            return nullptr;
        }
        kept_.splice(kept_.begin(), kept_, found->second);
        return &kept_.front();
    }

    /// Keeps the pattern, and drops the least recently used patterns when there are too many. The reference
    /// is valid until the next call.
    Pattern& keep(Pattern&& pattern) {
        memory_ += pattern.cost.memory;
        kept_.push_front(std::move(pattern));
        index_.emplace(Key{kept_.front().text, kept_.front().flags}, kept_.begin());
        while (kept_.size() > 1 && (kept_.size() > keptPatterns || memory_ > keptMemory)) {
            const Pattern& last = kept_.back();
            memory_ -= last.cost.memory;
            index_.erase({last.text, last.flags});
            kept_.pop_back();
        }
        return kept_.front();
    }

private:
    struct Key {
        std::string_view text;
        std::uint32_t flags;
        bool operator==(const Key&) const = default;
    };
    struct Hash {
        std::size_t operator()(const Key& key) const {
            return std::hash<std::string_view>()(key.text) ^ key.flags;
        }
    };

    std::list<Pattern> kept_; ///< the pattern that was used last comes first
    std::unordered_map<Key, std::list<Pattern>::iterator, Hash> index_;
    std::size_t memory_ = 0;
};

/// The longest run of units beyond ASCII; 1 when there are any and `exact` is not asked for.
std::size_t wideRun(const Utf16& text, bool exact) {
    if (text.isAscii() || !exact) {
        return text.isAscii() ? 0 : 1;
    }
    std::size_t longest = 1;
    std::size_t run = 0;
    for (std::int32_t i = 0; i < text.length(); ++i) {
        run = text.data()[i] < 0x80 ? 0 : run + 1;
        longest = std::max(longest, run);
    }
    return longest;
}

RegularExpressionOutcome search(Pattern& pattern, std::string_view text, RegularExpressionWork& work,
                                std::string& error) {
    const Utf16 searched(text);
    const PatternCost::Search& cost = pattern.costOfSearch(static_cast<std::size_t>(searched.length()),
                                                           wideRun(searched, pattern.cost.readsWideRuns));
    const Meter meter{work, cost};
    if (!meter.hasLeft(cost.beforeStep)) {
        error = "the search may take too long";
        return RegularExpressionOutcome::exhausted;
    }
    meter.take(cost.beforeStep);
    UErrorCode status = U_ZERO_ERROR;
    const bool found = pattern.regex->find(searched, meter, status);
    if (U_FAILURE(status)) {
        error = u_errorName(status);
        return RegularExpressionOutcome::exhausted;
    }
    return found ? RegularExpressionOutcome::match : RegularExpressionOutcome::noMatch;
}

/// Takes what it costs to compile the pattern. False when that is more than is left.
bool payToCompile(const PatternCost& cost, RegularExpressionWork& work, std::string& error) {
    if (cost.compile >= work.limit - work.taken) {
        error = "the pattern takes too long to compile";
        return false;
    }
    work.taken += cost.compile;
    return true;
}

} // namespace

RegularExpressionOutcome searchRegularExpression(std::string_view text, std::string_view pattern,
                                                 const RegularExpressionOptions& options,
                                                 RegularExpressionWork& work, std::string& error) {
    constexpr auto longest = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
    if (text.size() > longest || pattern.size() > longestPattern) {
        error = text.size() > longest ? "the text is too long" : "the pattern is too long";
        return RegularExpressionOutcome::exhausted;
    }
    const std::uint32_t flags = flagsOf(options);
    PatternCache* const cache = cacheIsGone ? nullptr : &PatternCache::ofThread();
    Pattern* known = cache ? cache->find(pattern, flags) : nullptr;
    // A kept pattern is paid for like a new one, so that an outcome does not depend on earlier readers.
    if (known && (work.reader == 0 || known->reader != work.reader)) {
        if (!payToCompile(known->cost, work, error)) {
            return RegularExpressionOutcome::exhausted;
        }
        known->reader = work.reader;
    }
    std::optional<Pattern> made;
    if (!known) {
        const PatternCost cost = PatternCost::of(pattern, options);
        if (!payToCompile(cost, work, error)) {
            return RegularExpressionOutcome::exhausted;
        }
        auto regex = compile(pattern, flags, error);
        if (!regex) {
            // It was compiled a second time to find the fault.
            work.taken += std::min(cost.compile, work.limit - work.taken);
            return RegularExpressionOutcome::badPattern;
        }
        made.emplace(Pattern{std::string(pattern), flags, cost, std::move(regex), work.reader});
        known = cache ? &cache->keep(std::move(*made)) : &*made;
    }
    return search(*known, text, work, error);
}

} // namespace kiv
