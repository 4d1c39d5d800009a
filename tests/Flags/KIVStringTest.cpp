#include <kiv/KIVException.h>
#include <kiv/KIVReportingValue.h>

#include "Support/FlagFixture.h"

namespace {

using Variants = FlagFixture;
using Texts = std::vector<std::string>;

TEST_F(Variants, HoldTheirVariationsAsTexts) {
    EXPECT_EQ(KIVString("blue").variations(), Texts({"blue"}));
    EXPECT_EQ(KIVString("blue", {"red", "green"}).variations(), Texts({"red", "green", "blue"}));
    EXPECT_EQ(KIVFlag(true).variations(), Texts({"true", "false"}));
    EXPECT_EQ(KIVInt(3, {1, -5}).variations(), Texts({"1", "-5", "3"}));
    EXPECT_EQ(KIVDouble(1, {0.5, 1e-5}).variations(), Texts({"0.5", "0.00001", "1"}));
    EXPECT_EQ(KIVFlag().defaultValue(), "false");
    try {
        KIVString("blue", {"red", nullptr});
        FAIL() << "a nil variation was taken";
    } catch (const KIVException& exception) {
        EXPECT_EQ(exception.name(), "InvalidArgument");
        EXPECT_EQ(exception.reason(), "Feature flag variation cannot be nil");
    }
}

TEST_F(Variants, OfEachTypeReadWhatTheConfigurationGives) {
    struct Case {
        const char* expression;
        std::int64_t integer; ///< expected when the default is 5
        double real;          ///< expected when the default is 2.5
        bool enabled;
        const char* text;
    };
    const Case cases[] = {
        {R"("7")", 7, 7, false, "7"},
        {R"("7.0")", 7, 7, false, "7.0"},
        {R"("12.5")", 5, 12.5, false, "12.5"},
        {R"("-3")", -3, -3, false, "-3"},
        {R"("0")", 0, 0, false, "0"},
        {R"("0.0")", 5, 2.5, false, "0.0"},
        {R"("1e3")", 5, 2.5, false, "1e3"},
        {R"("6.")", 6, 2.5, false, "6."},
        {R"(".5")", 5, 2.5, false, ".5"},
        {R"("1.2.3")", 5, 2.5, false, "1.2.3"},
        {"\"1\n\"", 1, 1, false, "1\n"},
        {R"(" 8")", 8, 2.5, false, " 8"},
        {R"("3000000000")", 3000000000, 3e9, false, "3000000000"},
        {R"("9223372036854775808")", INT64_MAX, 9223372036854775808.0, false, "9223372036854775808"},
        {R"("true")", 5, 2.5, true, "true"},
        {"and(true, true)", 5, 2.5, true, "true"},
        {R"("True")", 5, 2.5, false, "True"},
        {"undefined", 5, 2.5, true, "default"},
        {"nonsense(", 5, 2.5, true, "default"},
        {R"(["a"])", 5, 2.5, true, "default"},
    };
    start();
    const auto integer = add<KIVInt>("int", 5);
    const auto real = add<KIVDouble>("double", 2.5);
    const auto flag = add<KIVFlag>("flag", true);
    const auto text = add<KIVString>("string", "default");
    for (const Case& one : cases) {
        SCOPED_TRACE(one.expression);
        apply({{"int", one.expression},
               {"double", one.expression},
               {"flag", one.expression},
               {"string", one.expression}});
        EXPECT_EQ(integer->value(), one.integer);
        EXPECT_EQ(real->value(), one.real);
        EXPECT_EQ(flag->isEnabled(), one.enabled);
        EXPECT_EQ(text->value(), one.text);
    }
    EXPECT_EQ(integer->getIntValue(nullptr, "9"), 9) << "the default is that of the call";
}

TEST_F(Variants, PreferForcedThenOverriddenThenFrozenValues) {
    int impressions = 0;
    start([&](const KIVReportingValue&) { ++impressions; });
    const auto flag = add<KIVString>("color", "default", std::vector<KIVNullableString>(), 1U);
    apply({{"color", R"("one")"}});
    EXPECT_EQ(flag->peek(), "one");
    EXPECT_FALSE(flag->isFreezed());
    EXPECT_EQ(flag->value(), "one");
    EXPECT_EQ(impressions, 1);
    EXPECT_TRUE(flag->isFreezed());

    apply({{"color", R"("two")"}});
    EXPECT_EQ(flag->value(), "one");
    EXPECT_EQ(flag->peek(), "one") << "peek sees the frozen value";
    EXPECT_EQ(impressions, 1) << "a frozen read makes no impression";
    flag->unfreezeWithLevel(2);
    EXPECT_EQ(flag->value(), "one") << "level 2 leaves a flag of level 1 frozen";
    setter->unfreezeFlagsWithLevel(1);
    EXPECT_EQ(flag->value(), "two");
    EXPECT_EQ(impressions, 2);

    setter->overrides()->setOverride("mine", *flag);
    EXPECT_FALSE(flag->isFreezed());
    EXPECT_EQ(flag->value(), "mine");
    EXPECT_EQ(flag->peek(), "mine");
    EXPECT_EQ(flag->originalValue(), "two");
    EXPECT_EQ(impressions, 2);
    apply({{"color", R"("three")"}});
    setter->overrides()->clearOverrideForName("color");
    EXPECT_EQ(flag->value(), "three") << "an override thaws its flag";
    EXPECT_TRUE(flag->isFreezed());
    setter->overrides()->clearOverrideForName("color");
    EXPECT_FALSE(flag->isFreezed()) << "also without an override";

    // Nothing unfreezes a flag of level 0.
    const auto constant = add<KIVString>("constant", "default", std::vector<KIVNullableString>(), 0U);
    EXPECT_EQ(constant->value(), "default");
    setter->overrides()->setOverride("mine", *constant);
    EXPECT_EQ(constant->value(), "mine");
    setter->overrides()->clearOverrideForName("constant");
    EXPECT_EQ(constant->value(), "default");

    flag->forceValue("forced");
    setter->overrides()->setOverride("mine", *flag);
    EXPECT_EQ(flag->value(), "forced");
    EXPECT_EQ(flag->originalValue(), "forced");
    EXPECT_EQ(impressions, 4);
}

TEST_F(Variants, AnnounceEachEvaluatedReadOnceTheyHaveAName) {
    std::vector<std::string> seen;
    start([&](const KIVReportingValue& value) { seen.push_back(value.description()); });
    KIVFlag nameless(true);
    EXPECT_TRUE(nameless.isEnabled());
    EXPECT_TRUE(seen.empty());
    const auto flag = add<KIVFlag>("plain", false);
    apply({{"other", "true"}});
    int ran = 0;
    flag->enabled([&] { ran = 1; }, [&] { ran = 2; });
    EXPECT_EQ(ran, 2);
    EXPECT_EQ(seen.size(), 2U) << "a disabled flag is read twice";
    EXPECT_EQ(seen[0], "<KIVReportingValue> - plain (false) [NO]");
    apply({{"plain", "true"}});
    flag->enabled([&] { ran = 3; }, [&] { ran = 4; });
    EXPECT_EQ(ran, 3);
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_EQ(seen[2], "<KIVReportingValue> - plain (true) [YES]");
}

} // namespace
