#include <atomic>

#include "Flags/KIVFeatureFlagsStickiness.h"
#include "Flags/KIVStringSetterParameters.h"
#include "Model/KIVFeatureFlagsParser.h"
#include "Platform/System/Files.h"
#include "Support/FlagFixture.h"
#include "Support/Threads.h"

namespace {

using Setter = FlagFixture;

std::vector<std::string> names(const KIVFeatureFlagsRepository::Features& features) {
    std::vector<std::string> all;
    for (const auto& [name, flag] : features) {
        all.push_back(name);
    }
    return all;
}

TEST_F(Setter, GivesExperimentsToFlagsOfBothTimesAndTakesThemAway) {
    start();
    const auto early = add<KIVString>("early", "default");
    apply({{"early", R"("a")"}, {"late", R"("b")"}});
    const auto late = add<KIVString>("late", "default");
    EXPECT_EQ(early->value(), "a");
    EXPECT_EQ(late->value(), "b");
    apply({{"late", R"("c")"}});
    EXPECT_EQ(early->value(), "default");
    EXPECT_EQ(late->value(), "c");
    EXPECT_EQ(setter->experimentValueWithFlagName("late"), "c");
    EXPECT_EQ(setter->experimentValueWithFlagName("early"), std::nullopt);
}

TEST_F(Setter, KeepsFirstNamesAndLetsLaterFlagsReplaceEarlierOnes) {
    const auto first = add<KIVString>("one", "1");
    const auto second = add<KIVString>("one", "2");
    EXPECT_EQ(flags->featureWithName("one"), second);
    flags->addFeature(second, "two");
    EXPECT_EQ(second->name(), "one");
    EXPECT_EQ(flags->featureWithName("two"), second);
    flags->clear();
    EXPECT_EQ(second->name(), std::nullopt);
    EXPECT_EQ(flags->featureWithName("two"), nullptr);
    EXPECT_EQ(first->name(), "one") << "a flag that was replaced is no longer the repository's to clear";
}

TEST_F(Setter, SelectsByNamespace) {
    for (const char* name : {"plain", "a.x", "a.b.c", "a.b.d"}) {
        add<KIVFlag>(name, false);
    }
    using Names = std::vector<std::string>;
    EXPECT_EQ(names(flags->featuresWithNamespace("")), Names({"plain"}));
    EXPECT_EQ(names(flags->featuresWithNamespace("a")), Names({"a.x"}));
    EXPECT_EQ(names(flags->featuresWithNamespace("a.b")), Names({"a.b.c", "a.b.d"}));
}

TEST_F(Setter, ReportsAThrowingImpressionHandlerAndLetsTheReadReturn) {
    std::vector<std::pair<unsigned, std::string>> errors;
    invoker->setHandler(
        [&](unsigned source, const KIVException& e) { errors.emplace_back(source, e.reason()); });
    start([](const KIVReportingValue&) { throw std::runtime_error("handler"); });
    const auto flag = add<KIVFlag>("flag", true);
    EXPECT_TRUE(flag->isEnabled());
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0], std::pair(2U, std::string("handler")));
}

TEST_F(Setter, LetsHandlersReadFlagsWithoutEnd) {
    int calls = 0;
    int failures = 0;
    std::shared_ptr<KIVFlag> flag;
    invoker->setHandler([&](unsigned, const KIVException&) {
        ++failures;
        EXPECT_TRUE(flag->isEnabled());
    });
    start([&](const KIVReportingValue&) {
        ++calls;
        EXPECT_TRUE(flag->isEnabled());
        throw std::runtime_error("handler");
    });
    flag = add<KIVFlag>("app.flag", false);
    apply({{"app.flag", "true"}});
    EXPECT_TRUE(flag->isEnabled());
    EXPECT_TRUE(flag->isEnabled());
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(failures, 2);
}

TEST_F(Setter, SendsEventsOnlyWhileTheInternalFlagSaysSo) {
    struct Recorder : KIVImpressionEvents {
        void track(KIVImpressionEvent impression) override { bodies.push_back(impression.properties()); }
        std::vector<kiv::json::object> bodies;
    };
    const auto recorder = std::make_shared<Recorder>();
    events = recorder;
    start();
    const auto flag = add<KIVString>("flag", "default");
    apply({{"flag", R"("a")"}});
    flag->value();
    EXPECT_TRUE(recorder->bodies.empty());
    apply({{"flag", R"("a")"}, {"kiv.internal.analytics", R"("true")"}});
    flag->value();
    properties->addCustomProperty(KIVCustomProperty::withStringValue("userId", "u1"));
    flag->value();
    properties->addCustomProperty(KIVCustomProperty::withIntValue("userId", 4));
    flag->value();
    ASSERT_EQ(recorder->bodies.size(), 2U) << "a stickiness property of another type drops its event";
    EXPECT_EQ(recorder->bodies[0].at("distinctId").as_string(), "device-id");
    EXPECT_EQ(recorder->bodies[1].at("distinctId").as_string(), "u1");
    EXPECT_EQ(recorder->bodies[1].at("value").as_string(), "a");
    EXPECT_EQ(recorder->bodies[1].size(), 5U);
}

TEST_F(Setter, KeepsOverridesInTheirFile) {
    start();
    const auto flag = add<KIVString>("flag", "default");
    setter->overrides()->setOverride("mine", *flag);
    setter->overrides()->setOverride("\xF0\x9F\x92\xA1 <&>", "other flag");
    const std::string path = setter->overrides()->pathForOverridesFile();
    start();
    EXPECT_EQ(flag->value(), "mine");
    EXPECT_EQ(setter->overrides()->overrideForName("other flag"), "\xF0\x9F\x92\xA1 <&>");
    setter->resetForExperiments();
    EXPECT_FALSE(kiv::fileExists(path));
    EXPECT_EQ(flag->value(), "default");
    ASSERT_TRUE(kiv::writeFile(path, "bplist00 damaged"));
    start();
    EXPECT_TRUE(setter->overrides()->overrides().empty());
    // With a folder in place of the file nothing can be written; the override holds in memory.
    kiv::removeFile(path);
    ASSERT_TRUE(kiv::makeDirectories(path + "/x"));
    setter->overrides()->setOverride("in memory", *flag);
    EXPECT_EQ(flag->value(), "in memory");
}

TEST_F(Setter, KeepsOverridesWithoutAFormInMemory) {
    start();
    const auto overrides = setter->overrides();
    const std::string zero("a\0b", 3);
    const std::pair<std::string, std::string> withoutForm[] = {
        {"zero value", zero}, {zero, "zero name"}, {"bad\xFF name", "x"}, {"bad value", "\xFF"}};
    for (const auto& [name, value] : withoutForm) {
        overrides->setOverride("kept", "plain");
        overrides->setOverride(value, name);
        EXPECT_EQ(overrides->overrideForName(name), value);
        EXPECT_FALSE(overrides->cacheOverrides()) << name;
        EXPECT_EQ(KIVFlagsOverrides(setter).overrides(),
                  (std::map<std::string, std::string>{{"plain", "kept"}}));
        overrides->clearOverrideForName(name);
        EXPECT_TRUE(overrides->cacheOverrides());
    }
}

/// The destructor of a retired object may set an override, so it must run after `clearOverrides` has given
/// back its lock.
TEST_F(Setter, ClearsOverridesWithoutALockThatADestructorCouldWant) {
    start();
    const auto overrides = setter->overrides();
    overrides->setOverride("x", "flag");
    auto reading = std::make_unique<kiv::ReadGuard>();
    kiv::retire([&] { overrides->setOverride("y", "of the destructor"); });
    reading.reset();
    overrides->clearOverrides();
    EXPECT_EQ(overrides->overrideForName("of the destructor"), "y");
}

TEST_F(Setter, ReadsTheFlagsThatAnExperimentNames) {
    const auto named =
        KIVFeatureFlagsParser::parseWithConfiguration(*kiv::parseJson(R"([{"name":"a.b"},{},{"name":1}])"));
    ASSERT_EQ(named.size(), 3U);
    EXPECT_EQ(named[0], (KIVFeatureFlagId{"a.b", "any value"}));
    EXPECT_EQ(named[1].name + named[2].name, "");
    EXPECT_TRUE(KIVFeatureFlagsParser::parseWithConfiguration("no array").empty());
    const KIVStringSetterParameters parameters(true, "v");
    EXPECT_TRUE(parameters.experimenting() && parameters.value() == "v");
}

TEST_F(Setter, KeepsStickyValues) {
    auto experiments = std::make_shared<KIVExperiments>();
    (*experiments)[KIVFeatureFlagId{"sticky"}] = std::make_shared<KIVExperimentModel>(
        "1", "n", false, KIVDeploymentConfiguration(R"("a")"), true, std::set<std::string>(), std::nullopt);
    KIVFeatureFlagsStickiness stickiness([&] { return experiments; });
    const auto flag = add<KIVString>("sticky", "default");
    const auto other = add<KIVString>("other", "default");
    stickiness.receiveFlagFreezed(*flag);
    stickiness.receiveFlagFreezed(*other);
    KIVFeatureFlagsStickiness again([&] { return experiments; });
    EXPECT_EQ(again.stickyValueForFlagWithName("sticky"), "default");
    EXPECT_FALSE(again.isFlagSticky("other"));
    again.clearStickiness();
    EXPECT_FALSE(KIVFeatureFlagsStickiness([&] { return experiments; }).isFlagSticky("sticky"));
}

/// Several threads read while another applies configurations, sets overrides, unfreezes and registers flags:
/// each value that is read must be one that the flag had in some state.
TEST_F(Setter, LetsReadsGoOnWhileEverythingChanges) {
    std::atomic<int> impressions{0};
    start([&](const KIVReportingValue&) { ++impressions; });
    const auto flag = add<KIVString>("flag", "default");
    const auto frozen = add<KIVString>("frozen", "default", std::vector<KIVNullableString>(), 1U);
    std::atomic<int> wrong{0};
    const auto read = [&] {
        for (const auto& each : {flag, frozen}) {
            const std::string value = each->value();
            wrong += value != "a" && value != "b" && value != "default" && value != "override";
        }
    };
    besideThreads(3, read, [&] {
        for (int i = 0; i < 200; ++i) {
            apply({{"flag", i % 2 ? R"("a")" : R"("b")"}, {"frozen", R"("a")"}});
            setter->unfreezeFlagsWithLevel(1);
            add<KIVFlag>("flag" + std::to_string(i), false);
            if (i % 50 == 0) {
                setter->overrides()->setOverride("override", *flag);
                setter->overrides()->clearOverrideForName("flag");
            }
        }
    });
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(impressions, 0);
}

} // namespace
