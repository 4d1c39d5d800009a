#include <gtest/gtest.h>

#include "KivxLanguage/KivxParser.h"
#include "Model/KIVExperimentDataParser.h"
#include "Model/KIVExperimentModel.h"

namespace {

/// Parses an array of experiments. The document is destroyed before this returns: models must not borrow from
/// it.
std::shared_ptr<const KIVExperiments> parse(const std::string& array) {
    const auto document = kiv::parseJson(array);
    return KIVExperimentDataParser().parseExperimentsWithConfiguration(document ? &*document : nullptr);
}

std::shared_ptr<const KIVExperimentModel> experimentOf(const KIVExperiments& experiments,
                                                       std::string_view flag) {
    const auto found = experiments.find(flag);
    return found == experiments.end() ? nullptr : found->second;
}

const std::string deployed = R"("deploymentConfiguration":{"condition":"true"})";

TEST(ExperimentDataParser, ReadsEveryMember) {
    const auto experiments = parse(R"([{"_id":"5e0b","name":"Checkout","archived":true,"sticky":1,
        "labels":["b","a",7,"b"],"stickinessProperty":"email","deploymentConfiguration":{"condition":"\"on\""},
        "featureFlags":[{"name":"shop.express"},{"name":"shop.color"}]}])");
    ASSERT_EQ(experiments->size(), 2U);
    const auto model = experimentOf(*experiments, "shop.express");
    ASSERT_TRUE(model);
    EXPECT_EQ(model, experimentOf(*experiments, "shop.color")) << "both flags share the experiment";
    EXPECT_EQ(model->identifier(), "5e0b");
    EXPECT_EQ(model->name(), "Checkout");
    EXPECT_TRUE(model->archived());
    EXPECT_TRUE(model->sticky());
    EXPECT_EQ(model->labels(), (std::set<std::string>{"a", "b"}));
    EXPECT_EQ(model->stickinessProperty(), "email");
    EXPECT_EQ(model->valueWithParser(KivxParser(), "shop.express", EvaluationContext::initDefault()), "on");
}

TEST(ExperimentDataParser, TheLaterExperimentHasTheFlag) {
    const auto experiments = parse(R"([{"_id":"1",)" + deployed +
                                   R"(,"featureFlags":[{"name":"a"},{"name":"b"}]},
        {"_id":"2",)" + deployed + R"(,"featureFlags":[{"name":"b"}]},
        {"_id":"3","deploymentConfiguration":{},"featureFlags":[{"name":"a"}]}])");
    ASSERT_EQ(experiments->size(), 2U);
    EXPECT_EQ(experimentOf(*experiments, "a")->identifier(), "1")
        << "an experiment without a condition takes nothing";
    EXPECT_EQ(experimentOf(*experiments, "b")->identifier(), "2");
    EXPECT_FALSE(experimentOf(*experiments, "B"));
}

TEST(ExperimentDataParser, LeavesOutWhatIsMissingOrOfTheWrongKind) {
    const std::string flags = R"("featureFlags":[{"name":"f"}])";
    const std::string skipped[] = {
        R"({"experiments":1})",
        R"([null, 3, "text", [], {}])",
        "[{" + flags + R"(,"deploymentConfiguration":"true"}])",
        "[{" + flags + R"(,"deploymentConfiguration":[]}])",
        "[{" + flags + R"(,"deploymentConfiguration":{"condition":true}}])",
        "[{" + flags + R"(,"deploymentConfiguration":{"condition":{"a":1}}}])",
        "[{" + deployed + R"(,"featureFlags":{"name":"f"}}])",
        "[{" + deployed + R"(,"featureFlags":["f",1,null,{"name":3},{"name":""},{}]}])",
    };
    for (const std::string& array : skipped) {
        EXPECT_TRUE(parse(array)->empty()) << array;
    }
    EXPECT_TRUE(KIVExperimentDataParser().parseExperimentsWithConfiguration(nullptr)->empty());
    const std::string wrong =
        R"(,"_id":1,"name":[],"archived":{},"sticky":[1],"labels":"a","stickinessProperty":false)";
    for (const std::string& others : {std::string(), wrong}) {
        const auto model = experimentOf(*parse("[{" + flags + "," + deployed + others + "}]"), "f");
        ASSERT_TRUE(model) << others;
        EXPECT_EQ(model->identifier(), std::nullopt);
        EXPECT_EQ(model->name(), std::nullopt);
        EXPECT_FALSE(model->archived() || model->sticky());
        EXPECT_TRUE(model->labels().empty());
        EXPECT_EQ(model->stickinessProperty(), std::nullopt);
    }
}

TEST(ExperimentDataParser, ReadsBooleansOfAllKinds) {
    const auto read = [](const std::string& text) {
        const auto experiments =
            parse("[{" + deployed + R"(,"featureFlags":[{"name":"f"}],"archived":)" + text + "}]");
        return experimentOf(*experiments, "f")->archived();
    };
    for (const char* text : {"true", "1", "-2", "0.5", R"("yes")", "18446744073709551615"}) {
        EXPECT_TRUE(read(text)) << text;
    }
    for (const char* text : {"false", "0", "0.0", R"("")"}) {
        EXPECT_FALSE(read(text)) << text;
    }
}

} // namespace
