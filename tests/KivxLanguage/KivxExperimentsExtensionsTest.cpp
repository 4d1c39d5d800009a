#include "KivxLanguage/KivxExperimentsExtensions.h"

#include "Flags/FlagFixture.h"
#include "Flags/KIVFlagValueSource.h"
#include "KivxLanguage/KivxTrace.h"
#include "Model/KIVTargetGroupLinkArchiver.h"
#include "Model/KIVTargetGroupRepository.h"
#include "Model/KIVTargetGroupSource.h"
#include "Platform/Text.h"

namespace {

// The digest of this one begins with four bytes of 0xff.
const std::string topSeed = "userkjkiknlh";

/// The operators as a client sets them up, over real flags and groups.
class ExperimentOperators : public FlagFixture {
protected:
    ExperimentOperators() {
        KivxExperimentsExtensions(*parser, std::make_shared<KIVTargetGroupSource>(groups, links), flagValues)
            .extend();
    }

    void startWithSetter(std::function<void(const KIVReportingValue&)> handler = {}) {
        start(std::move(handler));
        flagValues->setFeatureFlagsSetter(setter);
    }

    std::string evaluate(std::string_view expression, const EvaluationContext& context = {}) {
        const auto result = parser->evaluateExpression(expression, "running", context);
        return !result ? "undefined" : result->value().isNone() ? "empty" : *result->stringValue();
    }

    std::shared_ptr<KIVTargetGroupRepository> groups = std::make_shared<KIVTargetGroupRepository>();
    std::shared_ptr<KIVTargetGroupLinkArchiver> links = std::make_shared<KIVTargetGroupLinkArchiver>();
    std::shared_ptr<KIVFlagValueSource> flagValues = std::make_shared<KIVFlagValueSource>(flags);
};

TEST_F(ExperimentOperators, PlaceSeedsInBuckets) {
    const auto bucket = [](std::string_view seed) { return KivxExperimentsExtensions::bucketFrom(seed); };
    EXPECT_EQ(bucket(""), 3649838548.0 / 4294967295.0);
    EXPECT_EQ(bucket("a"), 0xb975c10c / 4294967295.0);
    EXPECT_EQ(bucket(std::string_view("a\0b", 3)), bucket("a"));
    EXPECT_EQ(bucket(topSeed), 0.0);
}

TEST_F(ExperimentOperators, SplitBySeed) {
    const std::pair<std::string, std::string> cases[] = {
        {R"(isInPercentage(0.85, ""))", "true"},
        {R"(isInPercentage(0.84, ""))", "false"},
        {R"(isInPercentage("0.85 and more", ""))", "true"},
        {R"(isInPercentage(0, "userkjkiknlh"))", "true"},
        {R"(isInPercentage(0, "a"))", "false"},
        {R"(isInPercentage(0.5, 7))", "empty"},
        {R"(isInPercentage(0.5, undefined))", "empty"},
        {R"(isInPercentage(0.5))", "empty"},
        {R"(isInPercentage(undefined, "a"))", "empty"},
        {R"(isInPercentageRange(0.84, 0.85, ""))", "true"},
        {R"(isInPercentageRange(0.85, 1, ""))", "false"},
        {R"(isInPercentageRange(0, 0.5, "userkjkiknlh"))", "true"},
        {R"(isInPercentageRange(0, 0, "userkjkiknlh"))", "false"},
        {R"(isInPercentageRange(0.9, undefined, ""))", "empty"},
        {R"(mergeSeed("a", "b"))", "a.b"},
        {R"(mergeSeed("a", mergeSeed("b", "c")))", "a.b.c"},
        {R"(mergeSeed(undefined, 1.50))", "<null>.1.5"},
        {R"(mergeSeed(true, 7))", "1.7"},
        {R"(mergeSeed("a"))", "a.(null)"},
    };
    for (const auto& [expression, expected] : cases) {
        EXPECT_EQ(evaluate(expression), expected) << expression;
    }
    int first = 0;
    for (int i = 0; i < 2000; ++i) {
        const std::string seed = ", mergeSeed(\"seed\", " + std::to_string(i) + "))";
        const bool low = evaluate("isInPercentageRange(0, 0.3" + seed) == "true";
        const bool high = evaluate("isInPercentageRange(0.3, 1" + seed) == "true";
        EXPECT_NE(low, high) << seed;
        first += low;
    }
    EXPECT_NEAR(first, 600, 60);
}

TEST_F(ExperimentOperators, ReadFlagsInTheReadersContext) {
    std::vector<std::string> impressions;
    startWithSetter([&](const KIVReportingValue& value) { impressions.push_back(value.name()); });
    const auto flag = add<KIVString>("registered", "default");
    apply({{"registered", R"("configured")"}, {"unregistered", R"("on")"}});
    setter->overrides()->setOverride("override", *flag);

    EXPECT_EQ(evaluate(R"(flagValue("registered"))"), "override");
    EXPECT_TRUE(impressions.empty());
    EXPECT_EQ(evaluate(R"(flagValue("registered"))", {.shouldUseOverride = false}), "configured");
    EXPECT_EQ(impressions, std::vector<std::string>{"registered"});
    EXPECT_EQ(
        evaluate(R"(flagValue("registered"))", {.shouldRaiseImpression = false, .shouldUseOverride = false}),
        "configured");
    EXPECT_EQ(impressions.size(), 1U);

    EXPECT_EQ(evaluate(R"(flagValue("unregistered"))"), "on");
    for (const char* unknown :
         {R"(flagValue("nosuch"))", "flagValue(5)", "flagValue(undefined)", "flagValue()"}) {
        EXPECT_EQ(evaluate(unknown), "false") << unknown;
    }
    setter.reset();
    EXPECT_EQ(evaluate(R"(flagValue("unregistered"))"), "false") << "nobody owns the setter any more";
}

TEST_F(ExperimentOperators, EndWhenTheyComeBackToThemselves) {
    startWithSetter();
    const auto a = add<KIVString>("a", "default of a");
    const auto b = add<KIVString>("b", "default of b");
    groups->setTargetGroups({{"loop", R"(isInTargetGroup("loop"))"}});
    apply({{"a", R"(flagValue("b"))"}, {"b", R"(flagValue("a"))"}, {"c", R"(flagValue("c"))"}});
    EXPECT_EQ(a->value(), "default of a");
    EXPECT_EQ(b->value(), "default of b");
    EXPECT_EQ(evaluate(R"(flagValue("c"))"), "false");
    EXPECT_EQ(evaluate(R"(isInTargetGroup("loop"))"), "false");
}

TEST_F(ExperimentOperators, TestTargetGroups) {
    groups->setTargetGroups({{"in", "true"}, {"out", "false"}, {"failing", "nonsense"}, {"list", "[1]"}});
    links->addTargetGroupLinkPairing("linked");
    const std::pair<std::string, std::string> cases[] = {
        {R"(isInTargetGroup("in"))", "true"},           {R"(isInTargetGroup("out"))", "false"},
        {R"(isInTargetGroup("failing"))", "false"},     {R"(isInTargetGroup("list"))", "empty"},
        {R"(isInTargetGroup("missing"))", "false"},     {R"(isInTargetGroup(undefined))", "false"},
        {R"(isTargetGroupPaired("linked"))", "true"},   {R"(isTargetGroupPaired("in"))", "false"},
        {R"(isTargetGroupPaired(undefined))", "false"},
    };
    for (const auto& [expression, expected] : cases) {
        EXPECT_EQ(evaluate(expression), expected) << expression;
    }
}

TEST_F(ExperimentOperators, TellATraceWhatDecided) {
    struct Notes : KivxTrace {
        void entered(std::string_view expression, std::string_view flagName) override {
            lines.push_back("enter " + std::string(expression) + " for " + std::string(flagName));
        }
        void applied(std::string_view, std::size_t, const std::vector<KivxValue>&,
                     const KivxValue&) override {}
        void failed(std::string_view, std::size_t, std::string_view) override {}
        void noted(std::string_view what, const KivxValue& value) override {
            lines.push_back(std::string(what) + " " + value.description());
        }
        void left(const KivxValue&) override {}
        std::vector<std::string> lines;
    } notes;
    groups->setTargetGroups({{"half", R"(isInPercentage(0.5, mergeSeed("a", "b")))"}});
    const std::string expression = R"(or(isInTargetGroup("half"), eq(flagValue("other"), "true")))";
    {
        const KivxTrace::Scope scope(notes);
        evaluate(expression);
    }
    const std::string bucket = kiv::doubleText(KivxExperimentsExtensions::bucketFrom("a.b"));
    EXPECT_EQ(notes.lines, (std::vector<std::string>{
                               "enter " + expression + " for running", "flag other", "targetGroup half",
                               R"(enter isInPercentage(0.5, mergeSeed("a", "b")) for running)", "seed a.b",
                               "bucket " + bucket}));
}

} // namespace
