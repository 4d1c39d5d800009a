#include "Platform/Text/RegularExpression.h"

#include <chrono>

#include <gtest/gtest.h>

#include "Support/ProcessorTime.h"
#include "Support/Threads.h"

namespace {

using kiv::RegularExpressionOptions;
using Outcome = kiv::RegularExpressionOutcome;

Outcome search(std::string_view text, std::string_view pattern,
               const RegularExpressionOptions& options = {}) {
    std::string error;
    kiv::RegularExpressionWork work{kiv::workOfARead};
    const Outcome outcome = kiv::searchRegularExpression(text, pattern, options, work, error);
    EXPECT_LE(work.taken, work.limit);
    EXPECT_EQ(error.empty(), outcome == Outcome::match || outcome == Outcome::noMatch)
        << pattern << ": " << error;
    return outcome;
}

TEST(RegularExpression, SearchesTheWholeText) {
    const RegularExpressionOptions i{.caseInsensitive = true};
    const struct {
        std::string_view text;
        std::string_view pattern;
        RegularExpressionOptions options;
        bool matches;
    } cases[] = {{"user@ab.io", "@ab\\.", {}, true},
                 {"abc", "^b", {}, false},
                 {"abc", "^abc$", {}, true},
                 {"", "^$", {}, true},
                 {"", "x*", {}, true},
                 {"ÄRGER", "ärger", {}, false},
                 {"ÄRGER", "ärger", i, true},
                 {"👋", "^.$", {}, true},
                 {"a\xFF", "^a\uFFFD$", {}, true},
                 {std::string_view("a\0b", 3), "^a.b$", {}, true}};
    for (int round = 0; round < 2; ++round) { // compiled now, and from the cache
        for (const auto& each : cases) {
            EXPECT_EQ(search(each.text, each.pattern, each.options),
                      each.matches ? Outcome::match : Outcome::noMatch)
                << each.text << " " << each.pattern;
        }
    }
    const std::string longText = std::string(100'000, 'a') + "b";
    EXPECT_EQ(search(longText, "a+b$"), Outcome::match);
}

TEST(RegularExpression, NamesWhatIsWrongWithAPattern) {
    std::string error;
    kiv::RegularExpressionWork work{10'000'000};
    EXPECT_EQ(kiv::searchRegularExpression("x", "a(b", {}, work, error), Outcome::badPattern);
    EXPECT_EQ(error, "U_REGEX_MISMATCHED_PAREN at 3");
    for (const char* pattern : {"", "*", "[a", "(?<n", "a{2,1}", "\\"}) {
        EXPECT_EQ(search("x", pattern), Outcome::badPattern) << pattern;
    }
}

TEST(RegularExpression, EndsWhatRunsAway) {
    const auto start = std::chrono::steady_clock::now();
    for (const char* pattern : {"(a+)+$", "(a|aa)+$", "(.*)(.*)(.*)(.*)(.*)(.*)(.*)(.*)(.*)c"}) {
        EXPECT_EQ(search(std::string(40, 'a') + "b", pattern), Outcome::exhausted) << pattern;
    }
    EXPECT_EQ(search(std::string(1U << 20, 'a'), "(a|b)*c"), Outcome::exhausted);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

std::string times(std::size_t count, std::string_view text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

/// The outcome with the work that one read may do; sets `taken` to the work that it took.
Outcome searchWithinARead(std::string_view text, std::string_view pattern,
                          const RegularExpressionOptions& options, std::uint64_t reader,
                          std::uint64_t& taken) {
    std::string error;
    kiv::RegularExpressionWork work{.limit = kiv::workOfARead, .reader = reader};
    const Outcome outcome = kiv::searchRegularExpression(text, pattern, options, work, error);
    taken = work.taken;
    return outcome;
}

TEST(RegularExpression, EndsWhatTheEngineDoesNotCount) {
    const RegularExpressionOptions i{.caseInsensitive = true};
    const std::string letters(1'000'000, 'a');
    const struct {
        const char* name;
        std::string text;
        std::string pattern;
        RegularExpressionOptions options;
    } cases[] = {
        {"many large classes", "b", times(20'000, "[\\p{L}&&[^a]]"), i},
        {"large classes in a pattern of ordinary length", "b", times(300, "[\\W]"), i},
        {"large classes behind one that begins with a bracket", "b", times(2'000, "[]\\w]"), i},
        {"large classes by an option in the pattern", "b", "(?i)" + times(300, "[[^a]]"), {}},
        {"a long pattern", "b", std::string(1'000'000, 'a'), {}},
        {"a long literal", letters, std::string(5'000, 'a') + "b", {}},
        {"a long literal in any case", letters, std::string(1'000, 'a') + "b", i},
        {"quoted pipes, which divide nothing",
         std::string(1'000'000, '|'),
         "\\Q" + std::string(5'000, '|') + "\\Eb",
         {}},
        {"a loop that is not gone back over", letters, "(?>[a-z]*)!", {}},
        {"a loop ahead of each position", letters, "^.*?(?=(?>.*))x", {}},
        {"a reference to a long group", letters, "^(.*)\\1x", {}},
        {"large states", std::string(5'000, 'a'), "(?:a|aa)*?!" + times(4'000, "()"), {}},
    };
    for (const auto& each : cases) {
        std::uint64_t taken = 0;
        EXPECT_LT(processorTime([&] {
                      EXPECT_EQ(searchWithinARead(each.text, each.pattern, each.options, 0, taken),
                                Outcome::exhausted)
                          << each.name;
                  }),
                  plentyOfTime)
            << each.name;
    }
    // Fewer saved states than the engine reports.
    std::uint64_t taken = 0;
    EXPECT_EQ(searchWithinARead("aaaaaaaaaaaaa!", "^(a+)+$", {}, 0, taken), Outcome::noMatch);
    EXPECT_GT(taken, 100'000U);
}

TEST(RegularExpression, ChargesLittleForOrdinarySearches) {
    std::string names = "^(?:user0";
    for (int i = 1; i < 500; ++i) {
        names += "|user" + std::to_string(i);
    }
    const std::string agent =
        "Mozilla/5.0 (Linux; Android 13; SM-S901B) AppleWebKit/537.36 (KHTML, like Gecko) "
        "Chrome/112.0.0.0 Mobile Safari/537.36";
    const RegularExpressionOptions i{.caseInsensitive = true};
    const struct {
        std::string text;
        std::string pattern;
        RegularExpressionOptions options;
        std::uint64_t most; ///< of the 400,000,000 units that a read may take
    } cases[] = {
        {"2.4.1", "^\\d+\\.\\d+", {}, 40'000},
        {"FR", "^(FR|DE|ES)$", {}, 40'000},
        {"someone@mail.example.com", "^[\\w.-]+@([\\w-]+\\.)+[a-z]{2,}$", i, 4'000'000},
        {agent, "^(?!.*bot).*Chrome/1[0-9]+", {}, 4'000'000},
        {agent, "android|iphone", i, 200'000},
        {"user499", names + ")$", {}, 8'000'000},
        {"Ren\u00e9e", "^[\\p{L} '-]+$", i, 4'000'000},
        {std::string(1'000'000, 'a'), "needle", {}, 20'000'000},
    };
    std::uint64_t reader = 100;
    for (const auto& [text, pattern, options, most] : cases) {
        std::uint64_t first = 0;
        std::uint64_t second = 0;
        const Outcome outcome = searchWithinARead(text, pattern, options, ++reader, first);
        EXPECT_TRUE(outcome == Outcome::match || outcome == Outcome::noMatch) << pattern;
        EXPECT_LT(first, most) << pattern;
        // The same reader does not pay for compiling again; the next reader does, though the pattern is kept.
        EXPECT_EQ(searchWithinARead(text, pattern, options, reader, second), outcome) << pattern;
        EXPECT_LT(second, first) << pattern;
        EXPECT_EQ(searchWithinARead(text, pattern, options, ++reader, second), outcome) << pattern;
        EXPECT_EQ(second, first) << pattern;
    }
}

TEST(RegularExpression, KeepsHundredsOfPatterns) {
    const auto searchAll = [](int patterns, int rounds) {
        for (int round = 0; round < rounds; ++round) {
            for (int i = 0; i < patterns; ++i) {
                const std::string number = std::to_string(i);
                ASSERT_EQ(search(number, "^[\\w]?" + number + "$", {.caseInsensitive = true}),
                          Outcome::match);
            }
        }
    };
    searchAll(17, 1);
    const auto ofSixteen = processorTime([&] { searchAll(16, 50); });
    const auto ofSeventeen = processorTime([&] { searchAll(17, 50); });
    EXPECT_LT(ofSeventeen, 10 * ofSixteen);

    for (int i = 0; i < 3'000; ++i) { // twice, so that the first patterns are dropped and made again
        const std::string number = std::to_string(i % 1'500);
        ASSERT_EQ(search(number, "^" + number + "$"), Outcome::match);
        ASSERT_EQ(search("x", "^" + number + "$"), Outcome::noMatch);
    }
}

/// Searches in its destructor, when the thread's kept patterns may be destroyed.
struct LateSearcher {
    ~LateSearcher() { *outcome = search("late", "^l"); }
    Outcome* outcome;
};

TEST(RegularExpression, WorksToTheEndOfItsThread) {
    std::vector<Outcome> outcomes(4, Outcome::exhausted);
    onThreads(4, [&](int number) {
        // Made before the cache, so destroyed after it.
        thread_local LateSearcher late;
        late.outcome = &outcomes[static_cast<std::size_t>(number)];
        for (int i = 0; i < 100; ++i) {
            const std::string pattern = "^x{" + std::to_string(i % 40) + "}$";
            ASSERT_EQ(search(std::string(static_cast<std::size_t>(i % 40), 'x'), pattern), Outcome::match);
        }
    });
    EXPECT_EQ(outcomes, std::vector<Outcome>(4, Outcome::match));
}

} // namespace
