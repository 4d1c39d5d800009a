#include "OfrepFixture.h"

namespace {

using namespace ofrep;

TEST_F(Ofrep, GivesValuesWithTheirReasons) {
    const std::string half = R"(isInPercentageRange(0, 1, mergeSeed("s", property("distinct_id"))))";
    const struct {
        std::string condition;
        std::string value; ///< as JSON; empty for a code default
        std::string variant;
        std::string reason;
    } cases[] = {
        {"true", "true", R"("true")", R"("STATIC")"},
        {"\"red\"", R"("red")", R"("red")", R"("STATIC")"},
        {"\"true\"", "true", R"("true")", R"("STATIC")"},
        {"0.25", "0.25", R"("0.25")", R"("STATIC")"},
        {"9007199254740993", "9007199254740993", R"("9007199254740993")", R"("STATIC")"},
        {R"({"limit": 5})", R"({"limit":5})", R"("{\"limit\":5}")", R"("STATIC")"},
        {R"(eq(property("plan"), "gold"))", "true", R"("true")", R"("TARGETING_MATCH")"},
        {R"(ifThen(isInTargetGroup("gold"), 1, 2))", "1", R"("1")", R"("TARGETING_MATCH")"},
        {R"(gt(now(), 1))", "true", R"("true")", R"("TARGETING_MATCH")"},
        {"ifThen(" + half + ", \"a\", \"b\")", R"("a")", R"("a")", R"("SPLIT")"},
        {"ifThen(isInTargetGroup(\"half\"), 1, 2)", "1", R"("1")", R"("SPLIT")"},
        {"not(eq(" + half + ", true))", "false", R"("false")", R"("SPLIT")"},
        // A percentage in a branch that is not taken, or on a side that another side settles, decides
        // nothing.
        {R"(ifThen(eq(property("plan"), "gold"), "all", ifThen()" + half + R"(, "a", "b")))", R"("all")",
         R"("all")", R"("TARGETING_MATCH")"},
        {R"(or(eq(property("plan"), "gold"), not()" + half + "))", "true", R"("true")",
         R"("TARGETING_MATCH")"},
        {"undefined", "", "", R"("DEFAULT")"},
        {R"(ifThen(eq(property("plan"), "free"), 1, undefined))", "", "", R"("DEFAULT")"},
    };
    std::map<std::string, std::string> conditions;
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        conditions["flag " + std::to_string(i)] = cases[i].condition;
    }
    conditions["kiv.internal.analytics"] = "false";
    const auto group = [](const char* id, const std::string& condition) {
        return kiv::json::object{{"_id", id}, {"condition", condition}};
    };
    publish(payloadOf(conditions,
                      {{"targetGroups", kiv::json::array{group("gold", R"(eq(property("plan"), "gold"))"),
                                                         group("half", half)}}}));
    start();
    const std::string context = R"("targetingKey": "u", "plan": "gold")";
    const auto all = parsed(post("", R"({"context": {)" + context + "}}").body);
    const kiv::json::array& flags = all.at("flags").as_array();
    EXPECT_EQ(flags.size(), std::size(cases)) << "the library's own flags are not shown";
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const std::string name = "flag " + std::to_string(i);
        const auto answer = evaluated("flag%20" + std::to_string(i), context);
        EXPECT_EQ(text(answer, "value"), cases[i].value) << cases[i].condition;
        EXPECT_EQ(text(answer, "variant"), cases[i].variant) << cases[i].condition;
        EXPECT_EQ(text(answer, "reason"), cases[i].reason) << cases[i].condition;
        EXPECT_EQ(kiv::compactJson(answer.at("metadata")),
                  R"({"experimentName":"name of )" + name + R"(","experimentId":"id of )" + name + "\"}");
        EXPECT_NE(std::ranges::find(flags, kiv::json::value(answer)), flags.end()) << name;
    }
}

TEST_F(Ofrep, TakesPropertiesByTheirTypes) {
    publish(payloadOf({{"value", R"(concat("", property("p")))"},
                       {"version", R"(semverLt(property("p"), "2.10"))"},
                       {"date", R"(tsToNum(property("p")))"},
                       {"key", R"(concat(property("distinct_id"), property("kiv.distinct_id")))"},
                       {"anonymous", R"(ifThen(isUndefined(property("distinct_id")), "nobody",)"
                                     R"( concat("user ", property("distinct_id"))))"},
                       {"known", R"(not(isUndefined(property("p"))))"},
                       {"big", R"(eq(property("p"), 9007199254740993))"},
                       {"text", R"("true")"}}),
            otherKey);
    start();
    const auto value = [&](const std::string& flag, const std::string& context) {
        const auto answer = evaluated(flag, context, otherKey);
        return text(answer, answer.contains("errorCode") ? "errorCode" : "value");
    };
    const struct {
        std::string flag;
        std::string context;
        std::string value;
    } cases[] = {
        {"value", R"("p": "a")", R"("a")"},
        {"value", R"("p": 1.5)", R"("1.5")"},
        {"known", R"("p": false)", "true"},
        {"big", R"("p": 9007199254740993)", "true"},
        {"known", R"("p": null)", "false"},
        {"known", R"("p": {"q": 1})", "false"},
        {"known", R"("p": [1])", "false"},
        {"version", R"("p": "semver:2.9")", "true"},
        {"value", R"("p": "semver:2.9")", R"("2.9")"},
        {"date", R"("p": "date:2026-01-31T12:00:00.000Z")", "1769860800"},
        {"date", R"("p": "date:1700000000")", "1700000000"},
        {"date", R"("p": "date:yesterday")", R"("INVALID_CONTEXT")"},
        {"date", R"("p": "2026-01-31T12:00:00.000Z")", ""},
        {"key", R"("targetingKey": "u")", R"("uu")"},
        {"key", R"("targetingKey": "u", "distinct_id": "v", "kiv.distinct_id": "w")", R"("uw")"},
        {"key", R"("targetingKey": "")", R"("TARGETING_KEY_MISSING")"},
        {"anonymous", "", R"("nobody")"},
        {"anonymous", R"("targetingKey": "u")", R"("user u")"},
        {"text", "", "true"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(value(each.flag, each.context), each.value) << each.flag << " for " << each.context;
    }

    // The state of the key says which properties are dates and which flags are on or off. The prefix wins.
    postState(R"({"custom_properties": [{"name": "p", "type": "datetime"}, 7, {"name": 1}],
                  "feature_flags": [{"name": "text", "options": ["false", "true", "maybe"]}]})",
              otherKey);
    EXPECT_EQ(value("date", R"("p": "2026-01-31T12:00:00.000Z")"), "1769860800");
    EXPECT_EQ(value("date", R"("p": 1700000000)"), "1700000000");
    EXPECT_EQ(value("date", R"("p": "soon")"), R"("INVALID_CONTEXT")");
    EXPECT_EQ(value("version", R"("p": "semver:2.9")"), "true");
    EXPECT_EQ(value("text", ""), R"("true")");
}

TEST_F(Ofrep, MakesTheImpressionsThatTheDocumentAsksFor) {
    publish(payloadOf({{"colour", R"("red")"},
                       {"nothing", "undefined"},
                       {"size", R"(ifThen(eq(property("plan"), "gold"), 2, 1))"},
                       {"kiv.internal.analytics", R"(eq(property("plan"), "gold"))"}}));
    start();
    const std::string gold = R"("targetingKey": "u", "plan": "gold")";
    evaluated("colour", R"("targetingKey": "u", "plan": "free")");
    evaluated("nothing", gold);
    evaluated("missing", gold);
    evaluated("colour", gold);
    const Answer all = post("", R"({"context": {"targetingKey": "v", "account": "a-7", "plan": "gold"}})");
    const std::size_t at = all.head.find("ETag: ") + 6;
    const std::string tag = all.head.substr(at, 34);
    EXPECT_EQ(post("", R"({"context": {"targetingKey": "v", "account": "a-7", "plan": "gold"}})",
                   "-H 'If-None-Match: " + tag + "'")
                  .status,
              "304");
    evaluated("size", gold);
    EXPECT_EQ(impressions(4), "colour|red|u\ncolour|red|a-7\nsize|2|a-7\nsize|2|u\n");
    EXPECT_EQ(service->end(SIGTERM), 0);
}

TEST_F(Ofrep, StoresEveryImpressionAlsoWhenTheyComeFast) {
    std::map<std::string, std::string> conditions{{"kiv.internal.analytics", "true"}};
    for (int i = 0; i < 500; ++i) {
        conditions["flag" + std::to_string(i)] = "true";
    }
    publish(payloadOf(conditions));
    start({"--quiet"});
    // One connection, 100 requests.
    EXPECT_EQ(post("?[1-100]", R"({"context": {"targetingKey": "u"}})").status.size(), 300U);
    EXPECT_EQ(service->end(SIGTERM), 0);
    EXPECT_EQ(shell("sqlite3 -readonly flags/.kiv/records.sqlite 'SELECT count(*) FROM impressions'").out,
              "50000\n");
    EXPECT_EQ(read("log"), "");
}

} // namespace
