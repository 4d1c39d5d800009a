#include <chrono>
#include <sstream>

#include <gtest/gtest.h>

#include "KivxLanguage/KivxCustomPropertiesExtensions.h"
#include "KivxLanguage/KivxStack.h"
#include "KivxLanguage/KivxTrace.h"
#include "Properties/KIVCustomPropertiesRepository.h"
#include "Support/CapturedLog.h"
#include "Support/Outcome.h"
#include "Support/ProcessorTime.h"

namespace {

std::string times(std::size_t count, std::string_view text) {
    std::string all;
    all.reserve(count * text.size());
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

TEST(Bounds, HugeExpressionsEnd) {
    const KivxParser parser;
    constexpr std::size_t million = 1'000'000;
    const std::string text = times(million, "x");
    const struct {
        const char* name;
        std::string expression;
        std::string outcome;
    } cases[] = {
        {"a long string", '"' + text + '"', "string " + text},
        {"a long unknown word", text, "empty"},
        {"a long number", times(million, "9"), "real"},
        {"opening brackets", times(million, "["), "empty"},
        {"closing brackets", times(million, "]"), "empty"},
        {"brackets", times(million, "[{") + times(million, "]}"), "empty"},
        {"literals closed into one another", "[" + times(million / 4, "{][}"), "empty"},
        {"quotes", times(million, "\""), "string "},
        {"escaped quotes", '"' + times(million, "\\\"") + '"', "string " + times(million, "\\\"")},
        {"parentheses", times(million, "("), "empty"},
        {"operators without arguments", times(million / 4, "not("), "boolean 0"},
        {"many operands", times(million / 2, "1 "), "integer 1"},
        {"growing text", times(million / 20, "concat(") + '"' + text + '"' + times(million / 20, ",\"a\")"),
         "empty"},
        {"invalid text", "concat(\"" + times(million, "\xFF") + "\", \"\xC3\")",
         "string " + times(million, "\xFF") + "\xC3"},
        {"a search without end", R"(match("aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa!", "^(a+)+$", ""))",
         "empty"},
        {"many long searches", times(3'000, R"(match("aaaaaaaaaaaaaaa!","(a+)+$","") )"), "empty"},
        {"more words than there may be", times(million + 50'000, "1 "), "empty"},
    };
    for (const auto& [name, expression, expected] : cases) {
        const auto start = std::chrono::steady_clock::now();
        const std::string actual = outcome(parser, expression);
        EXPECT_TRUE(expected == "real" ? actual.starts_with(expected) : actual == expected)
            << name << ": " << actual.substr(0, 80);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60)) << name;
    }
}

/// One megabyte of repetitions of an expression that reads the properties "a" and "b", of a megabyte each.
struct BusyCase {
    std::string_view expression;
    std::string_view a;
    std::string_view b = "";
};

TEST(Bounds, OperatorsOnHugePropertiesEnd) {
    const BusyCase cases[] = {
        {R"(and(property("a"), property("a")) )", "0"},
        {R"(not(property("a")) )", "\u3000"},
        {R"(ifThen(property("a"), 1, 2) )", "0"},
        {R"(eq(property("a"), property("b")) )", "a", "a"},
        {R"(numeq(property("a"), 1) )", "9"},
        {R"(lt(property("a"), 1) )", "0"},
        {R"(semverEq(property("a"), property("b")) )", "a", "a"},
        {R"(isInPercentageRange(property("a"), 1, "") )", "0"},
        {R"(property(property("a")) )", "a"},
        {R"(match("zq", "q", property("a")) )", "a"},
        {R"(match("b", property("a"), "i") )", R"([\p{L}&&[^a]])"},
        {R"(match(property("a"), "z", "") )", "a"},
    };
    for (const auto& [expression, a, b] : cases) {
        const auto properties = std::make_shared<KIVCustomPropertiesRepository>();
        properties->addCustomProperty(
            KIVCustomProperty::withStringValue("a", times(1'000'000 / a.size(), a)));
        properties->addCustomProperty(KIVCustomProperty::withStringValue("b", times(1'000'000, b)));
        KivxParser parser;
        KivxCustomPropertiesExtensions(parser, properties).extend();
        const std::string repeated = times(1'000'000 / expression.size(), expression);
        EXPECT_LT(processorTime([&, &expression = expression] {
                      EXPECT_EQ(outcome(parser, repeated), "empty") << expression;
                  }),
                  plentyOfTime)
            << expression;
    }
}

TEST(Bounds, FailuresDescribeLittleOfAHugeValue) {
    CapturedLog log;
    const KivxParser parser;
    EXPECT_LT(processorTime([&] { outcome(parser, "not([" + times(150'000, "1e308 ") + "])"); }),
              plentyOfTime);
    EXPECT_EQ(outcome(parser, "inArray(1, \"" + times(100'000, "\u00e9") + "\")"), "empty");
    EXPECT_TRUE(log.has({"Kivx exception A value '" + times(500, "\u00e9") + "\u2026' has no elements"}));
}

TEST(Bounds, LogOfAHugeExpressionEnds) {
    CapturedLog log;
    const KivxParser parser;
    EXPECT_EQ(outcome(parser, times(200'000, "1 ")), "integer 1");
    EXPECT_TRUE(log.has({"Kivx Stack: (1, 1, 1)"}));
}

/// Has an operator ask(index) that evaluates one of `expressions`, as an operator does that reads another
/// flag.
class Nested : public testing::Test {
protected:
    Nested() {
        parser.setOperator("ask", [this](const KivxParser& own, KivxStack& stack, std::string_view flagName,
                                         const EvaluationContext& context) {
            const auto index = static_cast<std::size_t>(stack.pop().integerValue());
            ++asked;
            const auto result = own.evaluateExpression(expressions[index], flagName, context);
            stack.push(result && !result->value().isNone() ? result->value() : KivxValue("failed"));
        });
    }

    KivxParser parser;
    std::vector<std::string> expressions;
    int asked = 0;
};

TEST_F(Nested, CirclesFailWhereTheyClose) {
    CapturedLog log;
    expressions = {R"(concat("a", ask(1)))", R"(concat("b", ask(2)))", R"(concat("c", ask(0)))"};
    EXPECT_EQ(outcome(parser, expressions[0]), "string abcfailed");
    EXPECT_TRUE(log.has({"Kivx exception The expression depends on itself"}));
    EXPECT_EQ(outcome(parser, expressions[0]), "string abcfailed")
        << "the first evaluation has left nothing behind";

    expressions = {"concat(ask(1), ask(1))", R"("x")"};
    EXPECT_EQ(outcome(parser, expressions[0]), "string xx") << "asking twice is not a circle";
}

TEST_F(Nested, DepthAndNumberAreBounded) {
    for (int i = 1; i <= 80; ++i) {
        expressions.push_back("ask(" + std::to_string(i) + ")");
    }
    expressions.push_back(R"("end")");
    EXPECT_EQ(outcome(parser, expressions[20]), "string end");
    EXPECT_EQ(outcome(parser, expressions[0]), "string failed");

    // Each expression asks the next one twice.
    asked = 0;
    for (std::size_t i = 0; i < 40; ++i) {
        const std::string next = std::to_string(i + 1);
        expressions[i] = "concat(ask(" + next + "), ask(" + next + "))";
    }
    expressions[40] = R"("")";
    EXPECT_TRUE(outcome(parser, expressions[0]).starts_with("string "));
    EXPECT_LT(asked, 20'100);

    // Evaluations inside one another share one account.
    const std::string text = '"' + times(1'000'000, "x") + '"';
    expressions = {times(6, "ask(1) "), "ask(2)", text};
    EXPECT_TRUE(outcome(parser, expressions[0]).starts_with("string xxx"));
    expressions[0] = times(12, "ask(1) ");
    EXPECT_EQ(outcome(parser, expressions[0]), "string failed");
}

TEST_F(Nested, WhatIsUsedUpStaysUsedUp) {
    const std::string text = '"' + times(1'000'000, "x") + '"';
    expressions = {R"(concat(ask(1), "x"))", times(80, "concat(") + text + times(80, ", 1)")};
    EXPECT_EQ(outcome(parser, expressions[0]), "empty");
    EXPECT_EQ(outcome(parser, R"(concat("a", "x"))"), "string ax");
}

/// Writes a line for each call of a trace.
struct Recorder : KivxTrace {
    void entered(std::string_view expression, std::string_view flagName) override {
        lines << "entered " << expression << " for " << flagName << '\n';
    }
    void applied(std::string_view name, std::size_t position, const std::vector<KivxValue>& arguments,
                 const KivxValue& result) override {
        lines << name << '@' << position << KivxValue(arguments).description() << " = "
              << result.description() << '\n';
    }
    void failed(std::string_view name, std::size_t position, std::string_view reason) override {
        lines << "failed " << name << '@' << position << ": " << reason << '\n';
    }
    void noted(std::string_view, const KivxValue&) override {}
    void left(const KivxValue& result) override { lines << "left " << result.description() << '\n'; }

    std::ostringstream lines;
};

TEST_F(Nested, TracesEachStep) {
    expressions = {R"(concat("b", 2))"};
    Recorder recorder;
    {
        const KivxTrace::Scope scope(recorder);
        outcome(parser, R"(eq(undefined, "x\"y", ask(0)))", "f");
        outcome(parser, "not(1, foo)");
        outcome(parser, "eq(not([1]), 7)");
        outcome(parser, "eq(7)");
    }
    EXPECT_EQ(KivxTrace::current(), nullptr);
    EXPECT_EQ(recorder.lines.str(), R"(entered eq(undefined, "x\"y", ask(0)) for f
entered concat("b", 2) for f
concat@0[b, 2] = b2
left b2
ask@22[0] = b2
eq@0[<null>, x\"y] = 0
left 0
entered not(1, foo) for flag
failed foo@7: Expected valid token
left (null)
entered eq(not([1]), 7) for flag
failed not@3: A value '[1]' has no boolean value
left (null)
entered eq(7) for flag
eq@0[7, (null)] = 0
left 0
)");
}

} // namespace
