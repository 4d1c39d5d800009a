#include "OfrepFixture.h"

namespace {

using namespace ofrep;

using OfrepService = Ofrep;

TEST_F(OfrepService, RefusesBadRequestsClearlyAndChangesNothing) {
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

TEST_F(OfrepService, AnswersTheSamePathsWithoutAKeyWhenItServesOne) {
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

TEST_F(OfrepService, TellsClientsOfChangesAndSparesThemWhatTheyKnow) {
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

TEST_F(OfrepService, LetsOnlyKnownPagesAsk) {
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
