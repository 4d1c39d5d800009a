#include <limits>

#include <gtest/gtest.h>

#include "KivxLanguage/KivxSemver.h"
#include "KivxLanguage/KivxStack.h"
#include "KivxLanguage/KivxValueCompareExtensions.h"
#include "Support/Outcome.h"

namespace {

TEST(Comparisons, Numbers) {
    KivxParser parser;
    parser.setOperator("nan", [](KivxStack& stack) { stack.push(std::numeric_limits<double>::quiet_NaN()); });
    const OutcomeCase cases[] = {
        // Less, equal and greater.
        {"concat(lt(0, 1), concat(lt(1, 1), lt(2, 1)))", "string 100"},
        {"concat(lte(0, 1), concat(lte(1, 1), lte(2, 1)))", "string 110"},
        {"concat(gt(0, 1), concat(gt(1, 1), gt(2, 1)))", "string 001"},
        {"concat(gte(0, 1), concat(gte(1, 1), gte(2, 1)))", "string 011"},
        {R"(gt(9007199254740993, "9007199254740992.0"))", "boolean 1"},
        {R"(gte(true, 1.0))", "boolean 1"},
        {R"(lt(1, "+2"))", "boolean 0"},
        {"gte(1, undefined)", "boolean 0"},
        {"gte(1)", "boolean 0"},
        {"gte()", "boolean 0"},
        {"gte(nan, 1)", "boolean 0"},
        {"lte(nan, nan)", "boolean 0"},
    };
    expectOutcomes(parser, cases);
}

TEST(Comparisons, Versions) {
    const KivxParser parser;
    const OutcomeCase cases[] = {
        {R"(semverEq("1.0.0", "1.0"))", "boolean 1"},
        {R"(semverEq("3.0.1", "3.1"))", "boolean 0"},
        {R"(semverNe("1.2", "1.2.0"))", "boolean 0"},
        {R"(semverGt("1.9", "1.10"))", "boolean 0"},
        {R"(semverGte("1.9", "2"))", "boolean 0"},
        {R"(semverLt("1.2", "1.2.1"))", "boolean 1"},
        {R"(semverLt("1.2", "1.2"))", "boolean 0"},
        {R"(semverLte("1.2", "1.2"))", "boolean 1"},
        {R"(semverLte("1.3", "1.2"))", "boolean 0"},
        {R"(semverEq("1.0", undefined))", "boolean 0"},
        {R"(semverEq(1.0, "1.0"))", "empty"},
        {R"(semverEq("1.0", 1.0))", "empty"},
        {R"(semverEq("1.0"))", "empty"},
        {R"(semverNe())", "empty"},
    };
    expectOutcomes(parser, cases);
    EXPECT_EQ(normalizedSemver("2.10"), "2.10");
    EXPECT_EQ(normalizedSemver("0.0.0"), "0");
    EXPECT_EQ(semverCompare("1.9", "1.10"), -1);
    EXPECT_EQ(semverCompare("1.10", "1.9"), 1);
}

TEST(Comparisons, OfValuesByTheirOwnOrder) {
    KivxAccount account;
    KivxStack stack(account);
    stack.push("b");
    stack.push("a");
    const int greater[] = {1};
    KivxValueCompareExtensions::compareStackTop(stack, greater, false, false);
    EXPECT_EQ(kindAndText(stack.pop()), "boolean 1") << "the second compared with the first";
}

TEST(Comparisons, Patterns) {
    const KivxParser parser;
    const OutcomeCase cases[] = {
        {R"(match("Hello", "^h"))", "integer 0"},
        {R"(match("Hello", "ell", "??ii"))", "integer 1"},
        {R"(match("Hello", "h e l l o", "ix"))", "integer 1"},
        // No flag is on unless it is given.
        {R"(match("Hello", "h e l l o", "i"))", "integer 0"},
        {"match(\"a\nb\", \"^b$\", \"\")", "integer 0"},
        {"match(\"a\nb\", \"a.b\", \"\")", "integer 0"},
        {R"(match("can't", "\bt", ""))", "integer 1"},
        {"match(\"caf\xC3\xA9\", \"^.{4}$\", \"\")", "integer 1"},
        {R"(match(undefined, "[", ""))", "boolean 0"},
        {R"(match("a", undefined, ""))", "boolean 0"},
        {R"(match("a", "a", undefined))", "boolean 0"},
        {R"(match("a"))", "empty"},
        {R"(match(1, "1", ""))", "empty"},
        {R"(match("1", 1, ""))", "empty"},
        {R"(match("1", "1", 1))", "empty"},
    };
    expectOutcomes(parser, cases);
}

} // namespace
