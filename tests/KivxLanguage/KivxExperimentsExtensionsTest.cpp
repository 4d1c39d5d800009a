#include "KivxLanguage/KivxExperimentsExtensions.h"

#include "Platform/Crypto/Digest.h"
#include "Support/ExperimentFixture.h"
#include "Support/Outcome.h"

namespace {

// The MD5 of this seed begins with four bytes of 0xff.
const std::string topSeed = "userkjkiknlh";

using ExperimentOperators = ExperimentFixture;

TEST_F(ExperimentOperators, PlaceSeedsInBuckets) {
    const auto bucket = [](std::string_view seed) { return KivxExperimentsExtensions::bucketFrom(seed); };
    EXPECT_EQ(bucket(""), 3649838548.0 / 4294967295.0);
    EXPECT_EQ(bucket("a"), 0xb975c10c / 4294967295.0);
    EXPECT_EQ(bucket(std::string_view("a\0b", 3)), bucket("a"));
    EXPECT_EQ(bucket(topSeed), 0.0);
    std::string seed;
    for (std::size_t size = 0; size <= 200; ++size) {
        const auto digest = kiv::md5(seed);
        const std::uint32_t start = digest[0] | std::uint32_t{digest[1]} << 8U |
                                    std::uint32_t{digest[2]} << 16U | std::uint32_t{digest[3]} << 24U;
        EXPECT_EQ(bucket(seed), start / 4294967295.0) << size;
        seed += static_cast<char>('!' + size * 7 % 90);
    }
}

TEST_F(ExperimentOperators, SplitBySeed) {
    const OutcomeCase cases[] = {
        {R"(isInPercentage(0.85, ""))", "boolean 1"},
        {R"(isInPercentage(0.84, ""))", "boolean 0"},
        {R"(isInPercentage("0.85 and more", ""))", "boolean 1"},
        {R"(isInPercentage(0, "userkjkiknlh"))", "boolean 1"},
        {R"(isInPercentage(0, "a"))", "boolean 0"},
        {R"(isInPercentage(0.5))", "empty"},
        {R"(isInPercentage(undefined, "a"))", "empty"},
        {R"(isInPercentageRange(0.84, 0.85, ""))", "boolean 1"},
        {R"(isInPercentageRange(0, 0.5, "userkjkiknlh"))", "boolean 1"},
        {R"(isInPercentageRange(0, 0, "userkjkiknlh"))", "boolean 0"},
        {R"(isInPercentageRange(0.9, undefined, ""))", "empty"},
        {R"(mergeSeed("a", mergeSeed("b", "c")))", "string a.b.c"},
        {R"(mergeSeed(undefined, 1.50))", "string <null>.1.5"},
        {R"(mergeSeed(true, 7))", "string 1.7"},
        {R"(mergeSeed("a"))", "string a.(null)"},
    };
    expectOutcomes(*parser, cases);
}

TEST_F(ExperimentOperators, ReadFlagsInTheReadersContext) {
    std::vector<std::string> impressions;
    startWithSetter([&](const KIVReportingValue& value) { impressions.push_back(value.name()); });
    const auto flag = add<KIVString>("registered", "default");
    apply({{"registered", R"("configured")"}, {"unregistered", R"("on")"}});
    setter->overrides()->setOverride("override", *flag);

    const auto read = [&](const EvaluationContext& context) {
        return outcome(*parser, R"(flagValue("registered"))", "running", context);
    };
    EXPECT_EQ(read({}), "string override");
    EXPECT_TRUE(impressions.empty());
    EXPECT_EQ(read({.shouldUseOverride = false}), "string configured");
    EXPECT_EQ(impressions, std::vector<std::string>{"registered"});
    EXPECT_EQ(read({.shouldRaiseImpression = false, .shouldUseOverride = false}), "string configured");
    EXPECT_EQ(impressions.size(), 1U);

    const OutcomeCase cases[] = {
        {R"(flagValue("unregistered"))", "string on"},
        {"flagValue(5)", "string false"},
        {"flagValue(undefined)", "string false"},
        {"flagValue()", "string false"},
    };
    expectOutcomes(*parser, cases);
    setter.reset();
    EXPECT_EQ(outcome(*parser, cases[0].expression), "string false") << "nobody owns the setter any more";
}

TEST_F(ExperimentOperators, EndWhenTheyComeBackToThemselves) {
    startWithSetter();
    const auto a = add<KIVString>("a", "default of a");
    const auto b = add<KIVString>("b", "default of b");
    groups->setTargetGroups({{"loop", R"(isInTargetGroup("loop"))"}});
    apply({{"a", R"(flagValue("b"))"}, {"b", R"(flagValue("a"))"}, {"c", R"(flagValue("c"))"}});
    EXPECT_EQ(a->value(), "default of a");
    EXPECT_EQ(b->value(), "default of b");
    EXPECT_EQ(outcome(*parser, R"(flagValue("c"))"), "string false");
    EXPECT_EQ(outcome(*parser, R"(isInTargetGroup("loop"))"), "boolean 0");
}

TEST_F(ExperimentOperators, TestTargetGroups) {
    groups->setTargetGroups({{"list", "[1]"}});
    const OutcomeCase cases[] = {
        {R"(isInTargetGroup("list"))", "empty"},
        {R"(isInTargetGroup(undefined))", "boolean 0"},
        {R"(isTargetGroupPaired(undefined))", "boolean 0"},
    };
    expectOutcomes(*parser, cases);
}

} // namespace
