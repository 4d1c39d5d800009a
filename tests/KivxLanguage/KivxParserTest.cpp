#include "KivxLanguage/KivxParser.h"

#include <gtest/gtest.h>

#include "KivxLanguage/KivxStack.h"
#include "Platform/System/Clock.h"
#include "Support/CapturedLog.h"
#include "Support/Outcome.h"

namespace {

class Parser : public testing::Test {
protected:
    /// An operator without arguments.
    void add(std::string_view name, std::function<KivxValue()> value) {
        parser.setOperator(name, [value](KivxStack& stack) { stack.push(value()); });
    }

    KivxParser parser;
};

TEST_F(Parser, AppliesLogic) {
    const OutcomeCase cases[] = {
        {"and(true, false)", "boolean 0"},
        {"and(false, true)", "boolean 0"},
        {R"(and("yes", 2))", "boolean 1"},
        {R"(and(true, "no"))", "boolean 0"},
        {"and(undefined, true)", "empty"},
        {"and(false, [1])", "empty"},
        {"and(true)", "boolean 0"},
        {"or(true, false)", "boolean 1"},
        {"or(false, 0.0)", "boolean 0"},
        {"or(undefined, true)", "empty"},
        {"or()", "boolean 0"},
        {"not()", "boolean 1"},
        {R"(not("0"))", "boolean 1"},
        {"not({})", "empty"},
        {R"(ifThen("off", "a", "b"))", "string b"},
        {"ifThen(true, undefined, 2)", "undefined"},
        {"ifThen(false, 1)", "undefined"},
        {"ifThen([1], 1, 2)", "empty"},
        {"isUndefined(0)", "boolean 0"},
        {"isUndefined()", "boolean 0"},
    };
    expectOutcomes(parser, cases);
}

TEST_F(Parser, AppliesEquality) {
    const OutcomeCase cases[] = {
        {R"(eq("a", "A"))", "boolean 0"},
        {"eq(0, undefined)", "boolean 1"},
        {R"(ne("1", 1))", "boolean 1"},
        {"eq(9007199254740993, 9007199254740992.0)", "boolean 0"},
        {"eq([undefined], [false])", "boolean 0"},
        {R"(eq({"a": 1}, {"a": true}))", "boolean 1"},
        {"eq(1)", "boolean 0"},
        {"ne()", "boolean 1"},
        {R"(numne(2, "3"))", "boolean 1"},
        {R"(numne("1e1", 10))", "boolean 0"},
        {"numeq(undefined, 0)", "boolean 0"},
        {"numeq(true, 1)", "boolean 1"},
        {"numne(1)", "boolean 0"},
        {R"(inArray("c", ["a", "b"]))", "boolean 0"},
        {"inArray(undefined, [undefined])", "boolean 1"},
        {"inArray(undefined, [false])", "boolean 0"},
        {R"(inArray("a", undefined))", "empty"},
        {R"(inArray("a"))", "boolean 0"},
    };
    expectOutcomes(parser, cases);
}

TEST_F(Parser, AppliesTextOperators) {
    add("zero", [] { return KivxValue(std::string("a\0b", 3)); });
    const OutcomeCase cases[] = {
        {R"(md5(""))", "string d41d8cd98f00b204e9800998ecf8427e"},
        {"md5(zero)", "string 0cc175b9c0f1b6a831c399e269772661"},
        {R"(eq(md5(15), md5("15")))", "boolean 1"},
        {"md5(undefined)", "undefined"},
        {"md5()", "undefined"},
        {R"(concat(1.50, true))", "string 1.51"},
        {R"(concat(undefined, "a"))", "undefined"},
        {R"(concat("a"))", "string a(null)"},
        {R"(b64d(""))", "string "},
        {R"(b64d("SGVs bG8="))", "undefined"},
        {R"(b64d("//79"))", "undefined"},
        {"b64d(undefined)", "undefined"},
        {"b64d()", "undefined"},
        {"b64d(1234)", "empty"},
    };
    expectOutcomes(parser, cases);
}

TEST_F(Parser, AppliesTimeOperators) {
    struct FixedClock : kiv::Clock {
        KIVDate now() const override { return KIVDate(std::chrono::microseconds(1'600'000'000'123'500)); }
        std::chrono::steady_clock::time_point monotonic() const override { return {}; }
    };
    kiv::Clock::install(std::make_unique<FixedClock>());
    add("after", [] { return KivxValue(KIVDate(std::chrono::milliseconds(1'999))); });
    add("before", [] { return KivxValue(KIVDate(std::chrono::milliseconds(-1'999))); });
    const OutcomeCase cases[] = {
        {"now()", "real 1600000000123.5"},   {"tsToNum(after)", "integer 1"},
        {"tsToNum(before)", "integer -1"},   {"tsToNum(12)", "undefined"},
        {"tsToNum(undefined)", "undefined"}, {"tsToNum()", "integer 0"},
        {"numeq(after, 1)", "boolean 0"},    {"eq(after, before)", "boolean 0"},
    };
    expectOutcomes(parser, cases);
}

TEST_F(Parser, WalksFromTheEnd) {
    const OutcomeCase cases[] = {
        {"", "empty"},
        {"  ", "empty"},
        {"[1 2]", "array [1, 2]"},
        {"1 foo", "empty"},
        {"1]", "empty"},
        {"eq(1, 1", "boolean 1"},
        {"eq(1, 1))))", "boolean 1"},
        {R"(eq("a, 1))", "boolean 0"},
    };
    expectOutcomes(parser, cases);
}

TEST_F(Parser, GivesOperatorsTheFlagAndTheContext) {
    parser.setOperator("flagName", [](const KivxParser&, KivxStack& stack, std::string_view flagName,
                                      const EvaluationContext& context) {
        stack.push(KivxValue(flagName));
        stack.push(context.shouldUseFreeze);
    });
    EXPECT_EQ(outcome(parser, "concat(flagName)", "ns.flag"), "string 1ns.flag");
    parser.setOperator("eq", [](KivxStack& stack) { stack.push("mine"); });
    EXPECT_EQ(outcome(parser, "eq(1, 2)"), "string mine") << "a later operator replaces the one of its name";
    parser.setOperator("idle", {});
    EXPECT_EQ(outcome(parser, "idle(2)"), "integer 2") << "an operator without a handler does nothing";
}

TEST_F(Parser, FindsEveryOperatorAmongMany) {
    for (int i = 0; i < 500; ++i) {
        add(std::to_string(i) + "th", [i] { return KivxValue(i); });
    }
    for (int i = 0; i < 500; ++i) {
        EXPECT_EQ(outcome(parser, std::to_string(i) + "th"), "integer " + std::to_string(i));
    }
    EXPECT_EQ(parser.operators().names().size(), 526);
}

TEST_F(Parser, CatchesWhateverAHandlerThrows) {
    CapturedLog log;
    add("throwsNumber", []() -> KivxValue { throw 1; });
    add("throwsError", []() -> KivxValue { throw std::runtime_error("out of paper"); });
    EXPECT_EQ(outcome(parser, "eq(1, throwsNumber)"), "empty");
    EXPECT_TRUE(log.has({"Kivx exception an exception of another type"}));
    EXPECT_EQ(outcome(parser, "throwsError"), "empty");
    EXPECT_TRUE(log.has({"Kivx exception out of paper"}));
    EXPECT_EQ(outcome(parser, R"(match("a", "[", ""))"), "empty");
    EXPECT_TRUE(log.has({"Kivx exception Expected a regular expression, but failed with error: "}));
}

TEST_F(Parser, LogsTheStackAndInDebugModeTheUnknownWord) {
    CapturedLog log;
    EXPECT_EQ(outcome(parser, R"(eq(foo, not(false), "x"))"), "empty");
    EXPECT_TRUE(log.has({"KivxParser.cpp", "Kivx Stack: (x, 0)"}));
    EXPECT_TRUE(log.has({"Kivx Stack: (x, 1)"}));
    EXPECT_FALSE(log.has({"Kivx exception"}));

    parser.setDebugMode(true);
    EXPECT_EQ(outcome(parser, "eq(foo, 1)"), "empty");
    EXPECT_TRUE(log.has({"Kivx exception Expected valid token, got '(null)'"}));
    EXPECT_TRUE(log.has({"unknown word foo at 3"}));

    log.clear();
    setKivDebuggerDisableByFile({"KivxParser.cpp"});
    EXPECT_EQ(outcome(parser, "eq(foo, 1)"), "empty");
    EXPECT_FALSE(log.has({"Kivx"}));
    setKivDebuggerDisableByFile({});
}

TEST_F(Parser, MergesContexts) {
    using Values = KIVDynamicPropertyContext::Values;
    const auto names = [](const EvaluationContext& context, std::string_view name) {
        return context.dynamicPropertyContext.get(name).description();
    };
    const EvaluationContext own{false, true, false,
                                KIVDynamicPropertyContext(Values{{"a", "own"}, {"b", "own"}})};
    EXPECT_EQ(names(EvaluationContext::initMerged(&parser, &own), "a"), "own");

    parser.setGlobalDynamicPropertyContext(KIVDynamicPropertyContext(Values{{"a", "global"}}));
    const EvaluationContext merged = EvaluationContext::initMerged(&parser, &own);
    EXPECT_FALSE(merged.shouldRaiseImpression);
    EXPECT_TRUE(merged.shouldUseFreeze);
    EXPECT_FALSE(merged.shouldUseOverride);
    EXPECT_EQ(names(merged, "a"), "global");
    EXPECT_EQ(names(merged, "b"), "own");
    EXPECT_EQ(names(EvaluationContext::initMerged(nullptr, &own), "a"), "own");
    const EvaluationContext bare = EvaluationContext::initMerged(&parser, nullptr);
    EXPECT_TRUE(bare.shouldRaiseImpression && bare.shouldUseFreeze && bare.shouldUseOverride);
    EXPECT_EQ(names(bare, "a"), "global");

    parser.setGlobalDynamicPropertyContext(KIVDynamicPropertyContext::empty());
    EXPECT_TRUE(parser.globalDynamicPropertyContext().isEmpty());
}

/// A context of this depth overflows the stack of any recursion.
TEST(DynamicPropertyContext, MayBeMergedAMillionTimes) {
    const KIVDynamicPropertyContext last({{"last", "x"}});
    for (const bool isLocal : {false, true}) {
        KIVDynamicPropertyContext all({{"first", "y"}, {"last", "y"}});
        for (int i = 0; i < 1'000'000; ++i) {
            all = isLocal ? KIVDynamicPropertyContext::merged(last, all)
                          : KIVDynamicPropertyContext::merged(all, last);
        }
        EXPECT_EQ(all.get("first").description(), "y");
        EXPECT_EQ(all.get("last").description(), isLocal ? "y" : "x");
        EXPECT_EQ(all.values().size(), 2U);
        const KIVDynamicPropertyContext copy = all;
        all = KIVDynamicPropertyContext::empty();
        EXPECT_FALSE(copy.isEmpty());
    }
}

TEST(EvaluationResult, Converts) {
    const KivxEvaluationResult text(KivxValue("42.9 apples"));
    EXPECT_EQ(text.stringValue(), "42.9 apples");
    EXPECT_EQ(text.intValue(), 42);
    EXPECT_EQ(text.doubleValue(), 42.9);
    EXPECT_TRUE(text.boolValue());
    EXPECT_FALSE(text.isBoolNumber());
    EXPECT_EQ(text.dateValue(), KIVDate(std::chrono::seconds(42)));

    EXPECT_EQ(KivxEvaluationResult(KivxValue(true)).stringValue(), "true");
    EXPECT_TRUE(KivxEvaluationResult(KivxValue(true)).isBoolNumber());
    EXPECT_FALSE(KivxEvaluationResult(KivxValue(1)).isBoolNumber());
    EXPECT_EQ(KivxEvaluationResult(KivxValue(-1)).unsignedIntValue(), 0U);
    const KivxEvaluationResult large(KivxValue(1e19));
    EXPECT_EQ(large.unsignedLongLongValue(), 10'000'000'000'000'000'000U);
    EXPECT_EQ(large.longLongValue(), std::numeric_limits<long long>::max());
    EXPECT_EQ(KivxEvaluationResult(KivxValue(1e30)).unsignedIntegerValue(),
              std::numeric_limits<std::uint64_t>::max());
    const KivxEvaluationResult low(KivxValue("-70000"));
    EXPECT_EQ(low.shortValue(), -32768);
    EXPECT_EQ(low.charValue(), static_cast<char>(-128));
    EXPECT_EQ(KivxEvaluationResult(KivxValue(std::int64_t(1) << 32)).intValue(), 2147483647);
    const KIVDate date(std::chrono::microseconds(7));
    EXPECT_EQ(KivxEvaluationResult(KivxValue(date)).dateValue(), date);
    EXPECT_EQ(KivxEvaluationResult(KivxValue("9999999999999999999")).dateValue(),
              KIVDate(std::chrono::floor<std::chrono::seconds>(KIVDate::duration::max())));
}

} // namespace
