#include <gtest/gtest.h>

#include "CorvaneClient/KIVClientDataParser.h"
#include "Support/CapturedLog.h"

namespace {

std::unique_ptr<KIVClientDataParser> parserOf(const std::string& payload) {
    const KIVClientDataParserFactory factory("id", [] {
        return std::make_shared<const kiv::json::object>(
            kiv::json::object{{"platform", "Linux"}, {"memory", 8}, {"languages", {"C", 1}}});
    });
    return factory.dataParserWithData(std::make_shared<const kiv::json::value>(*kiv::parseJson(payload)));
}

TEST(ClientDataParser, ReadsTheMembersOfAPayload) {
    const auto parser = parserOf(R"({"application_version":{"id":"v7"},
        "experiments":[{"deploymentConfiguration":{"condition":"1"},"featureFlags":[{"name":"f"}]}],
        "targetGroups":[{"_id":"g","condition":"true"}]})");
    EXPECT_EQ(parser->distinctId(), "id");
    EXPECT_EQ(parser->versionId(), "v7");
    EXPECT_EQ(parser->experiments()->size(), 1U);
    EXPECT_EQ(parser->targetGroups().at(0).groupId(), "g");

    for (const char* poor :
         {"{}", R"({"application_version":"v7","experiments":{},"targetGroups":"g","tweak":[]})",
          R"({"application_version":{"id":7},"experiments":7,"targetGroups":7,"tweak":7})"}) {
        const auto empty = parserOf(poor);
        EXPECT_EQ(empty->versionId(), std::nullopt) << poor;
        EXPECT_TRUE(empty->experiments()->empty()) << poor;
        EXPECT_TRUE(empty->targetGroups().empty()) << poor;
        EXPECT_EQ(empty->tweakBundle(), nullptr) << poor;
    }
    EXPECT_TRUE(KIVClientDataParser("", {}, nullptr).experiments()->empty());
}

TEST(ClientDataParser, TakesTheFirstBundleThatMatchesTheDevice) {
    const CapturedLog log;
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {R"([{"matcher":{"platform":"linux"},"bundle":1},{"matcher":{"platform":"Linux"},"bundle":2},
             {"matcher":{},"bundle":3}])",
         "2"},
        {R"([{"matcher":{"platform":"Linux","memory":9},"bundle":1},
             {"matcher":{"memory":8.0,"languages":["C",true]},"bundle":2}])",
         "2"},
        {R"([{"matcher":{"unknown":"x"},"bundle":1}])", "\"general\""},
        {R"(["no bundle",{"bundle":2}])", "2"},
        {R"([{"matcher":{}}])", std::nullopt},
        {"{}", "\"general\""},
    };
    for (const auto& [bundles, expected] : cases) {
        const auto parser =
            parserOf(R"({"tweak":{"bundle":"general","bundles":)" + std::string(bundles) + "}}");
        const auto* bundle = parser->tweakBundle();
        EXPECT_EQ(bundle ? std::optional(kiv::compactJson(*bundle)) : std::nullopt, expected) << bundles;
    }
    EXPECT_TRUE(log.has({R"(out - bundle={"matcher":{"platform":"Linux"},"bundle":2})"}));
    EXPECT_TRUE(log.has({"out - nil"}));
    EXPECT_TRUE(log.has({"out - tweak[DEVICE_BUNDLE]=\"general\""}));
}

} // namespace
