#include "Platform/Text/RegularExpression.h"

#include <chrono>

#include <gtest/gtest.h>

#include "Support/Threads.h"

namespace {

using kiv::RegularExpressionOptions;
using Outcome = kiv::RegularExpressionOutcome;

Outcome search(std::string_view text, std::string_view pattern,
               const RegularExpressionOptions& options = {}) {
    std::string error;
    kiv::RegularExpressionSteps steps{50};
    const Outcome outcome = kiv::searchRegularExpression(text, pattern, options, steps, error);
    EXPECT_LE(steps.taken, steps.limit);
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
    kiv::RegularExpressionSteps steps{50};
    EXPECT_EQ(kiv::searchRegularExpression("x", "a(b", {}, steps, error), Outcome::badPattern);
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
