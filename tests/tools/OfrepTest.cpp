#include "KivCommand.h"

#include <map>
#include <memory>

#include "Background.h"

// `kiv serve` as clients of the OpenFeature Remote Evaluation Protocol see it.

namespace {

const std::string key = "5e0bd1f2c3a4b5d6e7f80912";
const std::string otherKey = "2E8F6C1A-7B3D-4E5F-9A0B-1C2D3E4F5A6B";

/// A payload that gives each flag a condition.
std::string payloadOf(const std::map<std::string, std::string>& conditions, kiv::json::object more = {}) {
    kiv::json::array experiments;
    for (const auto& [flag, condition] : conditions) {
        experiments.push_back({{"_id", "id of " + flag},
                               {"name", "name of " + flag},
                               {"stickinessProperty", "account"},
                               {"featureFlags", kiv::json::array{kiv::json::object{{"name", flag}}}},
                               {"deploymentConfiguration", kiv::json::object{{"condition", condition}}}});
    }
    more["experiments"] = std::move(experiments);
    return kiv::compactJson(more);
}

class Ofrep : public KivCommand {
protected:
    struct Answer {
        std::string status;
        std::string head;
        std::string body;
    };

    Ofrep() { std::filesystem::create_directory("flags"); }

    static void publish(const std::string& payload, const std::string& ofKey = key) {
        write("unfinished", payload);
        std::filesystem::rename("unfinished", "flags/" + ofKey + ".flags.json");
    }

    void start(const Arguments& options = {}) {
        std::filesystem::remove("ready");
        service = std::make_unique<Background>(
            commandLine(joined({"serve", "flags", "--port", "0", "--json"}, options)) + " >ready 2>log");
        waitUntil([] { return read("ready").ends_with('\n'); }, "the service, which said " + read("log"));
        root = std::string(*kiv::textMember(parsed(read("ready")), "url"));
    }

    static Answer curl(const std::string& options, const std::string& url) {
        std::filesystem::remove("body");
        const Outcome outcome =
            shell("curl -sS --noproxy '*' --max-time 60 -D head -o body -w '%{http_code}' " + options + " '" +
                  url + "'");
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        return {outcome.out, read("head"), read("body")};
    }

    /// Posts the body to a path below /ofrep/v1/evaluate/flags of the key.
    Answer post(const std::string& path, const std::string& body, const std::string& options = "",
                const std::string& ofKey = key) const {
        write("posted", body);
        return curl("-H 'Content-Type: application/json' --data-binary @posted " + options,
                    root + "/" + ofKey + "/ofrep/v1/evaluate/flags" + path);
    }

    /// The answer about one flag for the members of a context.
    kiv::json::object evaluated(const std::string& flag, const std::string& context,
                                const std::string& ofKey = key) const {
        return parsed(post("/" + flag, R"({"context": {)" + context + "}}", "", ofKey).body).as_object();
    }

    static std::string text(const kiv::json::object& answer, std::string_view member) {
        const kiv::json::value* value = kiv::member(answer, member);
        return value ? kiv::compactJson(*value) : "";
    }

    void postState(const std::string& state, const std::string& ofKey) const {
        const std::string hash(32, 'a');
        write("posted", state);
        const Answer answer = curl("-H 'Content-Type: application/json' --data-binary @posted",
                                   root + "/device/update_state_store/" + ofKey + "/" + hash);
        EXPECT_EQ(answer.status, "200") << answer.body;
    }

    /// Rows of the impressions, "flag|value|distinct_id", when there are `count` of them.
    static std::string impressions(std::size_t count) {
        std::string rows;
        const auto look = [&] {
            rows = shell("sqlite3 -readonly flags/.kiv/records.sqlite "
                         "'SELECT flag, value, distinct_id FROM impressions ORDER BY id'")
                       .out;
            return static_cast<std::size_t>(std::ranges::count(rows, '\n')) >= count;
        };
        waitUntil(look, std::to_string(count) + " impressions");
        return rows;
    }

    std::unique_ptr<Background> service;
    std::string root;
};

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

TEST_F(Ofrep, RefusesBadRequestsClearlyAndChangesNothing) {
    publish(payloadOf({{"colour", R"("red")"},
                       {"broken", R"(isInPercentage(0.5, property("p")))"},
                       {"kiv.internal.analytics", "true"}}));
    write("flags/" + otherKey + ".flags.json", "{");
    start();
    const std::string deep = R"({"context": {"a": )";
    const auto nested = [&](std::size_t levels) {
        return deep + std::string(levels, '[') + std::string(levels, ']') + "}}";
    };
    const std::string fine = R"({"context": {"targetingKey": "u"}})";
    const std::string unknownKey(24, '0');
    const struct {
        std::string path;
        std::string body;
        std::string status;
        std::string code;
        std::string details;
        std::string options = "";
        std::string ofKey = key;
    } cases[] = {
        {"/colour", "", "400", "PARSE_ERROR", "no JSON"},
        {"", "", "400", "PARSE_ERROR", "no JSON"},
        {"/colour", "[]", "400", "PARSE_ERROR", "no JSON object"},
        {"/colour", fine, "400", "PARSE_ERROR", "application/json", "-H 'Content-Type: text/plain'"},
        {"/colour", fine, "400", "PARSE_ERROR", "damaged", "-H 'Content-Encoding: gzip'"},
        {"/colour", "{\"context\": {\"a\": \"" + std::string(256 << 10, 'x') + "\"}}", "400", "PARSE_ERROR",
         "larger than 256 KiB"},
        {"/colour", R"({"context": [)" + std::string(20'000, '0').replace(1, 0, ",") + "]}", "400",
         "PARSE_ERROR", "no JSON"},
        {"/colour", "{}", "400", "INVALID_CONTEXT", "has no \\\"context\\\""},
        {"", R"({"context": "u"})", "400", "INVALID_CONTEXT", "\\\"context\\\" is no object"},
        {"/colour", R"({"context": {"targetingKey": 7}})", "400", "INVALID_CONTEXT", "targetingKey"},
        {"/colour", nested(40), "400", "INVALID_CONTEXT", "more than 32 levels"},
        {"", nested(990), "400", "INVALID_CONTEXT", "more than 32 levels"},
        {"", nested(1000), "400", "PARSE_ERROR", "no JSON"},
        {"/missing", fine, "404", "FLAG_NOT_FOUND", "no flag \\\"missing\\\""},
        {"/kiv.internal.analytics", fine, "404", "FLAG_NOT_FOUND", "no flag"},
        {"/colour", fine, "404", "FLAG_NOT_FOUND", "no file for the key", "", unknownKey},
        {"", fine, "404", "GENERAL", "no file for the key", "", unknownKey},
        {"/", fine, "404", "GENERAL", "nothing at this path"},
        {"/colour", fine, "500", "PARSE_ERROR", "was refused", "", otherKey},
        {"/broken", R"({"context": {"p": true}})", "400", "GENERAL", "the expression fails at"},
        {"/colour", fine, "405", "GENERAL", "PUT is not for this path", "-X PUT"},
    };
    for (const auto& each : cases) {
        const Answer answer = post(each.path, each.body, each.options, each.ofKey);
        EXPECT_EQ(answer.status, each.status) << each.details;
        const auto body = parsed(answer.body).as_object();
        EXPECT_EQ(text(body, "errorCode"), "\"" + each.code + "\"") << each.details;
        EXPECT_CONTAINS(text(body, "errorDetails"), each.details);
        const std::string named = each.path.size() > 1 ? "\"" + each.path.substr(1) + "\"" : "";
        EXPECT_EQ(text(body, "key"), named) << each.details;
    }
    // The one that fails does not keep the others from being evaluated.
    const std::string all = post("", R"({"context": {"p": true}})").body;
    EXPECT_CONTAINS(all, R"({"key":"broken","errorCode":"GENERAL")");
    EXPECT_CONTAINS(all, R"({"key":"colour","value":"red")");
    EXPECT_EQ(impressions(1), "colour|red|\n");
    EXPECT_EQ(curl("", root + "/cdn/" + key + "/" + std::string(32, 'b')).status, "200");
}

TEST_F(Ofrep, AnswersTheSamePathsWithoutAKeyWhenItServesOne) {
    publish(payloadOf({{"colour", R"("red")"}}));
    start();
    const auto bare = [&] {
        write("posted", R"({"context": {}})");
        return curl("-H 'Content-Type: application/json' -d @posted",
                    root + "/ofrep/v1/evaluate/flags/colour");
    };
    EXPECT_CONTAINS(bare().body, R"("value":"red")");
    publish(payloadOf({}), otherKey);
    waitUntil([&] { return bare().status == "404"; }, "the second key");
    EXPECT_CONTAINS(read("body"), "the path has no key");
}

TEST_F(Ofrep, TellsClientsOfChangesAndSparesThemWhatTheyKnow) {
    publish(payloadOf({{"colour", R"(concat("red for ", property("plan")))"}}));
    start();
    const std::string gold = R"({"context": {"plan": "gold"}})";
    const auto tagOf = [](const Answer& answer) {
        const std::size_t at = answer.head.find("ETag: ");
        return at == std::string::npos ? "" : answer.head.substr(at + 6, answer.head.find('\r', at) - at - 6);
    };
    const Answer first = post("", gold);
    const std::string tag = tagOf(first);
    ASSERT_EQ(tag.size(), 34U) << first.head;
    const auto known = [&](const std::string& body, const std::string& tags) {
        return post("", body, "-H 'If-None-Match: " + tags + "'");
    };
    const Answer same = known(gold, tag);
    EXPECT_EQ(same.status, "304");
    EXPECT_EQ(same.body, "");
    EXPECT_EQ(tagOf(same), tag);
    EXPECT_EQ(same.head.find("Content-Length"), std::string::npos);
    EXPECT_EQ(known(gold, "\"other\", W/" + tag).status, "304");
    EXPECT_EQ(known(gold, "\"other\"").status, "200");
    EXPECT_EQ(known(R"({"context": {"plan": "free"}})", tag).status, "200");

    const auto stream = parsed(first.body).at("eventStreams").at(0);
    EXPECT_EQ(kiv::compactJson(stream.at("type")), "\"sse\"");
    const std::string events = root + std::string(stream.at("endpoint").at("requestUri").as_string());
    const Background listener("curl -sSiN --noproxy '*' '" + events + "' >events");
    waitUntil([] { return read("events").find("\r\n\r\n: here\n\n") != std::string::npos; }, "the stream");
    EXPECT_CONTAINS(read("events"), "text/event-stream");
    publish(payloadOf({{"colour", R"("blue")"}}));
    const std::string event = "event: message\ndata: {\"type\":\"refetchEvaluation\"}\n\n";
    waitUntil([&] { return read("events").find(event) != std::string::npos; }, "the event");
    const Answer changed = known(gold, tag);
    EXPECT_EQ(changed.status, "200");
    EXPECT_CONTAINS(changed.body, R"("value":"blue")");
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

TEST_F(Ofrep, LetsOnlyKnownPagesAsk) {
    publish(payloadOf({{"colour", R"("red")"}}));
    start({"--allow-origin", "https://shop.example", "--allow-origin", "http://localhost:3000"});
    const std::string port = root.substr(root.rfind(':') + 1);
    const struct {
        std::string headers;
        std::string status;
        std::string allowed; ///< the origin that the answer names
    } cases[] = {
        {"", "200", ""},
        {"-H 'Origin: https://shop.example'", "200", "https://shop.example"},
        {"-H 'Origin: http://localhost:3000' -H 'Sec-Fetch-Site: cross-site'", "200",
         "http://localhost:3000"},
        {"-H 'Origin: https://shop.example.evil.example'", "403", ""},
        {"-H 'Origin: null'", "403", ""},
        {"-H 'Origin: http://127.0.0.1:" + port + "'", "200", ""},
        {"-H 'Sec-Fetch-Site: cross-site'", "403", ""},
        {"-H 'Host: shop.example'", "403", ""},
        {"-H 'Host: shop.example' -H 'Origin: https://shop.example'", "403", "https://shop.example"},
        {"-H 'Host: localhost:" + port + "'", "200", ""},
    };
    for (const auto& each : cases) {
        const Answer answer = post("/colour", R"({"context": {}})", each.headers);
        EXPECT_EQ(answer.status, each.status) << each.headers;
        EXPECT_EQ(answer.head.find("Access-Control-Allow-Origin: " + each.allowed + "\r\n") !=
                      std::string::npos,
                  !each.allowed.empty())
            << each.headers << answer.head;
        EXPECT_CONTAINS(answer.head, "Vary: Origin");
        const Answer asked = post("/colour", "", "-X OPTIONS " + each.headers);
        EXPECT_EQ(asked.status, each.status == "200" ? "204" : "403") << each.headers;
    }
    const Call calls[] = {
        {{"--allow-origin", "https://shop.example/"}, 2, "takes an origin like https://shop.example"},
        {{"--allow-origin", "*"}, 2, "takes an origin"},
        {{"--allow-origin", "https://"}, 2, "takes an origin"},
    };
    expectTold({"serve", "flags", "--port", "0"}, calls);
}

} // namespace
