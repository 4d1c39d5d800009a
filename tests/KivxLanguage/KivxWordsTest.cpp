#include "KivxLanguage/KivxWords.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KivxLanguage/KivxStack.h"
#include "Support/FuzzWorld.h"
#include "Support/RandomExpressions.h"
#include "Support/TwoWays.h"

namespace {

/// The words as the fast way cuts them, from the first to the last. The text is in a buffer of its own size,
/// in which a sanitizer sees every byte that is read beyond it.
std::optional<std::vector<std::string>> wordsOf(std::string_view text) {
    const auto buffer = std::make_unique<char[]>(text.size());
    std::ranges::copy(text, buffer.get());
    const std::string_view own(buffer.get(), text.size());
    KivxWords words;
    if (!words.cut(own)) {
        return std::nullopt;
    }
    std::vector<std::string> all;
    for (KivxWords::Cursor word(words, own); word.toPrevious();) {
        const std::string place = std::to_string(word.position()) + ":";
        all.insert(all.begin(), place + (word.isString() ? "\"" : "") + std::string(word.text()));
    }
    return all;
}

using Words = std::vector<std::string>;

TEST(KivxWords, CutsWordsStringsAndBrackets) {
    EXPECT_EQ(wordsOf(""), Words());
    EXPECT_EQ(wordsOf("true"), Words({"0:true"}));
    EXPECT_EQ(wordsOf(" \t\r\n(),:"), Words());
    EXPECT_EQ(wordsOf(R"(eq(property("country"), "FR"))"),
              Words({"0:eq", "3:property", "12:\"country", "24:\"FR"}));
    EXPECT_EQ(wordsOf(R"(a["b"]c"",1)"), Words({"0:a", "1:[", "2:\"b", "5:]", "6:c", "7:\"", "10:1"}));
    EXPECT_EQ(wordsOf(R"("({[]}),\d")"), Words({R"(0:"({[]}),\d)"}));
    EXPECT_EQ(wordsOf("\x01\x7f\xc3\xa9"), Words({"0:\x01\x7f\xc3\xa9"}));
}

TEST(KivxWords, LeavesWhatIsRareToTheGeneralWay) {
    for (const char* rare :
         {"{}", "[[1]]", "]", "[", "[1]]", "[1", "\"a", "\"a\"\"b\"", R"("a\"b")", R"(\")", R"("\KV_Q")"}) {
        EXPECT_EQ(wordsOf(rare), std::nullopt) << rare;
    }
    EXPECT_EQ(wordsOf(std::string(KivxWords::longest + 1, ' ')), std::nullopt);
}

// A block of the cut has 64 characters and a part of it 16. Words, strings and brackets lie over each border.
TEST(KivxWords, CutsAcrossBlocksAndAtEveryLength) {
    for (std::size_t gap = 0; gap < 140; ++gap) {
        const std::string before(gap, ' ');
        const auto at = [&](std::size_t offset) { return std::to_string(gap + offset) + ":"; };
        EXPECT_EQ(wordsOf(before + "word"), Words({at(0) + "word"}));
        EXPECT_EQ(wordsOf(before + "[\"te, xt\"]x"),
                  Words({at(0) + "[", at(1) + "\"te, xt", at(9) + "]", at(10) + "x"}));
        EXPECT_EQ(wordsOf(before + "\"\" \"\""), Words({at(0) + "\"", at(3) + "\""}));
        EXPECT_EQ(wordsOf(before + "\"\"\"\""), std::nullopt);
        EXPECT_EQ(wordsOf(before + "\\\""), std::nullopt);
        const std::string text(gap, 'x');
        EXPECT_EQ(wordsOf("\"" + text + "\""), Words({"0:\"" + text}));
        EXPECT_EQ(wordsOf(text + " y").value().size(), gap == 0 ? 1U : 2U);
    }
    const std::string longest(KivxWords::longest, 'x');
    EXPECT_EQ(wordsOf(longest), Words({"0:" + longest}));
}

// KIV_RANDOM_EXPRESSIONS says how many expressions are compared, when it is set.
TEST(KivxWords, AgreeWithTheGeneralWay) {
    const char* const wanted = std::getenv("KIV_RANDOM_EXPRESSIONS");
    const int expressions = wanted ? std::atoi(wanted) : 5'000;
    const FuzzWorld world;
    RandomExpressions random(20'261'122);
    int cut = 0;
    for (int i = 0; i < expressions; ++i) {
        const std::string expression = random.next();
        if (isCutFast(expression)) {
            ++cut;
            ASSERT_EQ(allOf(world.parser(), expression), allOf(world.parser(), forTheGeneralWay(expression)))
                << expression;
        }
    }
    EXPECT_GT(cut, expressions / 2);
    EXPECT_LT(cut, expressions);
}

// Operators of an application may have any name, and none need do anything.
TEST(KivxWords, KnowOperatorsWithNamesLikeNumbersAndWithoutAHandler) {
    KivxParser parser;
    parser.setOperator("1.5", [](KivxStack& stack) { stack.push(stack.pop().integerValue() + 1); });
    parser.setOperator("true", [](KivxStack& stack) { stack.push(KivxValue("own")); });
    parser.setOperator("nothing", KivxOperatorHandler());
    for (const char* expression :
         {"1.5(2)", "concat(1.5(7), true)", "nothing(3)", "[1.5, true, nothing]", "eq(nothing, 1)"}) {
        EXPECT_EQ(allOf(parser, expression), allOf(parser, forTheGeneralWay(expression))) << expression;
        EXPECT_TRUE(isCutFast(expression));
    }
    expectOutcomes(parser, {{"1.5(2)", "integer 3"}, {"nothing(3)", "integer 3"}, {"[1.5]", "array [1.5]"}});
}

// What a trace keeps outlives the evaluation.
TEST(KivxWords, TellATraceValuesThatItMayKeep) {
    const FuzzWorld world;
    for (const char* expression : {"flagValue([\"a text of some length\", 2])", "isInTargetGroup([1])",
                                   "ifThen(true, [\"one\"], 2)", "mergeSeed(\"a\", \"b\")"}) {
        EXPECT_TRUE(isCutFast(expression));
        EXPECT_EQ(allOf(world.parser(), expression), allOf(world.parser(), forTheGeneralWay(expression)));
    }
}

} // namespace
