#include "ServeFixture.h"

namespace {

TEST_F(Serve, SignsWhatItServesOnceAndKeepsItsKey) {
    write("flags/" + uuidKey + ".flags.json", R"({"application": ")" + uuidKey + "\"}\n");
    start();
    const Answer fromCdn = get(configurationUrl() + "?canticache=1&distinct_id=x");
    EXPECT_EQ(fromCdn.status, "200");
    write("envelope.json", fromCdn.body);
    output({"config", "verify", "envelope.json", "--certificate", "certificate.txt", "--key", key});
    EXPECT_CONTAINS(fromCdn.body, R"(\"condition\":\"\\\"red\\\"\")");
    EXPECT_EQ(post(url("getConfigApiEndpoint", key + "/" + hash), R"({"app_key": ")" + key + "\"}").body,
              fromCdn.body);
    EXPECT_EQ(get(url("getConfigCloudEndpoint", uuidKey + "/" + hash)).status, "200");

    EXPECT_EQ(service->end(SIGTERM), 0);
    start({"--cdn-misses"});
    EXPECT_EQ(get(configurationUrl()).status, "404");
    EXPECT_EQ(post(url("getConfigApiEndpoint", key + "/" + hash), "{}").body, fromCdn.body);

    namespace fs = std::filesystem;
    EXPECT_EQ(fs::status("flags/.kiv/signing.key.pem").permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status("flags/.kiv/records.sqlite").permissions(), fs::perms(0600));
}

TEST_F(Serve, KeepsStatesAndImpressions) {
    start();
    const std::string known = url("sendStateCloudEndpoint", key + "/" + hash);
    const std::string state = R"({"stateMd5":")" + hash + R"(","app_key":")" + key +
                              R"(","feature_flags":[{"name":"shop.colour","defaultValue":"it's \"é\""}]})";
    EXPECT_EQ(get(known).status, "404");
    EXPECT_EQ(post(url("sendStateApiEndpoint", key + "/" + hash), state).status, "200");
    EXPECT_EQ(get(known).status, "200");
    EXPECT_EQ(read("body"), state);
    EXPECT_EQ(get(url("sendStateCloudEndpoint", key + "/" + std::string(32, 'f'))).status, "404");

    const std::string upload =
        R"({"analyticsVersion":"1.0.0","sdkVersion":"5.0.16","time":1.0,"platform":"iOS","corvaneKey":")" +
        key +
        R"(","events":[{"distinctId":"d1","flag":"shop.colour","time":1700000000.25,"type":"IMPRESSION",)"
        R"("value":"x');DROP TABLE impressions;--"},7,{"flag":"shop.colour"}]})";
    const std::string impressions = url("analyticsEndpoint", "impression/" + key);
    EXPECT_EQ(post(impressions, upload).body, "{\"stored\":2}\n");
    write("upload", upload);
    ASSERT_EQ(shell("gzip -c upload >upload.gz").exitCode, 0);
    EXPECT_EQ(post(impressions, read("upload.gz"), "-H 'Content-Encoding: gzip'").status, "200");
    EXPECT_EQ(service->end(SIGINT), 0);

    EXPECT_EQ(query("SELECT app_key, hash, document FROM states"), key + "|" + hash + "|" + state + "\n");
    EXPECT_EQ(query("SELECT flag, value, time, distinct_id, type, platform, sdk_version FROM impressions "
                    "WHERE app_key = '" +
                    key + "' ORDER BY id LIMIT 2"),
              "shop.colour|x');DROP TABLE impressions;--|1700000000.25|d1|IMPRESSION|iOS|5.0.16\n"
              "shop.colour|||||iOS|5.0.16\n");
    EXPECT_EQ(query("SELECT count(*) FROM impressions"), "4\n");
}

TEST_F(Serve, CountsImpressionsAlsoThoseFromBefore) {
    const Outcome none = kiv({"impressions", "flags"});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_CONTAINS(none.err, "flags/.kiv/records.sqlite: there are no records");
    EXPECT_CONTAINS(kiv({"impressions", "missing"}).err, "missing: is no folder");
    start();
    EXPECT_CONTAINS(kiv({"impressions", "flags"}).out, "No impressions have been kept yet.");
    EXPECT_EQ(service->end(SIGTERM), 0);
    // Records of a version that did not count, with impressions of two keys.
    const std::string more = "INSERT INTO impressions (app_key, flag, value, received) VALUES ('" + key +
                             "', 'shop.colour', 'a, \"\"b\"\"', '')";
    write(
        "before.sql",
        "DROP TRIGGER impression_added; DROP TRIGGER impression_deleted; DROP TABLE flag_counts;"
        "DROP TABLE value_counts; DROP TABLE flag_deciders; DROP INDEX impressions_over_time;"
        "CREATE INDEX impressions_of_flags ON impressions (app_key, flag, value); PRAGMA user_version = 0;" +
            more + "," + more.substr(more.find("('")) + ",('other', 'f', NULL, '')");
    ASSERT_EQ(shell("sqlite3 flags/.kiv/records.sqlite <before.sql").exitCode, 0);
    EXPECT_CONTAINS(kiv({"impressions", "flags"}).err, "brings records of an older kiv up to date");

    start();
    const std::string header = "key,flag,value,impressions\n";
    const std::string other = "other,f,,1\n";
    const auto row = [&](const std::string& count) {
        return key + ",shop.colour,\"a, \"\"\"\"b\"\"\"\"\"," + count + "\n";
    };
    const auto csv = [](const Arguments& options = {}) {
        return kiv(joined({"impressions", "flags", "--csv"}, options)).out;
    };
    EXPECT_EQ(csv(), header + row("2") + other);
    EXPECT_EQ(query("SELECT name FROM sqlite_master WHERE type = 'index' AND tbl_name = 'impressions'"),
              "impressions_over_time\n");
    EXPECT_EQ(
        post(url("analyticsEndpoint", "impression/" + key),
             R"({"events": [{"flag": "shop.colour", "value": "a, \"\"b\"\""},{"flag": "shop.colour"}]})")
            .status,
        "200");
    EXPECT_EQ(csv({"--key", key}), header + row("3") + key + ",shop.colour,,1\n");
    expectContains(kiv({"impressions", "flags", "--key", key}).out, {"shop.colour", "75.00 %", "(empty)"});
    const std::string remove = "DELETE FROM impressions WHERE value IS NULL";
    ASSERT_EQ(shell("sqlite3 -cmd '.timeout 5000' flags/.kiv/records.sqlite '" + remove + "'").exitCode, 0);
    EXPECT_EQ(csv(), header + row("3"));
}

TEST_F(Serve, AnnouncesWhatChangedAndRefusesWhatIsWrong) {
    start();
    const auto stream = openStream("stream");
    EXPECT_CONTAINS(read("stream"), "Content-Type: text/event-stream\r\n");
    const std::string event = "event: changed\ndata: changed\n\n";

    const auto edited = std::chrono::steady_clock::now();
    replaceFile(payloadFile, payload("green"));
    waitFor("stream", event);
    EXPECT_LT(std::chrono::steady_clock::now() - edited, std::chrono::seconds(1));
    EXPECT_CONTAINS(get(configurationUrl()).body, "green");

    const std::string served = get(configurationUrl()).body;
    write(payloadFile, payloadWith("nosuch(1)"));
    waitFor("log", "refused; the document from before is still served");
    EXPECT_CONTAINS(read("log"), "experiment 1 \"n\", column 1: error: ");
    EXPECT_EQ(get(configurationUrl()).body, served);
    write(payloadFile, payload("green"));
    waitFor("log", "is back to the content that is served");
    EXPECT_EQ(get(configurationUrl()).body, served);

    write(payloadFile, payload("blue"));
    waitFor("stream", event, 2);
    EXPECT_CONTAINS(get(configurationUrl()).body, "blue");
    std::filesystem::remove(payloadFile);
    waitFor("log", "is gone");
    EXPECT_EQ(get(configurationUrl()).status, "404");
    write(payloadFile, payload("green"));
    waitFor("stream", event, 3);
    EXPECT_EQ(service->end(SIGTERM), 0);
    EXPECT_EQ(count(read("stream"), event), 3U);
}

TEST_F(Serve, RefusesPayloadsOfOthersAndTakesThemOnceTheyAreRight) {
    write(payloadFile, R"({"application": "0123456789abcdef01234567"})");
    write("flags/shop.flags.json", "{}");
    write("flags/" + uuidKey + ".flags.json", R"({"data": "{}"})");
    start();
    expectContains(read("log"), {"is made for another application: the file's name says \"" + key + "\"",
                                 "flags/shop.flags.json: error: the file's name does not begin with a key",
                                 "is an envelope already"});
    EXPECT_EQ(get(configurationUrl()).status, "404");
    write(payloadFile, R"({"application": ")" + key + "\"}");
    waitFor("log", "signed and served");
    EXPECT_EQ(get(configurationUrl()).status, "200");
}

TEST_F(Serve, KeepsQuietStreamsAlive) {
    start({"--keep-alive", "1"});
    const auto stream = openStream("stream");
    waitFor("stream", "\r\n\r\n: here\n\n: here\n\n: here\n\n");
}

TEST_F(Serve, AnswersBadRequestsClearly) {
    start();
    const std::string api = url("sendStateApiEndpoint", key + "/" + hash);
    const std::string impressions = url("analyticsEndpoint", "impression/" + key);
    const std::string root = std::string(*kiv::textMember(ready, "url"));
    const std::string long20k(20000, 'a');
    const struct {
        std::function<Answer()> request;
        std::string status;
        std::string told;
    } cases[] = {
        {[&] { return get(root + "/nothing/here"); }, "404", "nothing at this path"},
        {[&] { return get(url("getConfigCloudEndpoint", key)); }, "404", "nothing at this path"},
        {[&] { return get(configurationUrl() + "/more"); }, "404", "nothing at this path"},
        {[&] { return get(url("pushNotificationEndpoint", uuidKey)); }, "404", "no file for this key"},
        {[&] { return get(url("getConfigCloudEndpoint", "..%2f/x")); }, "404", "no file for this key"},
        {[&] { return get(api); }, "405", "GET is not for this path"},
        {[&] { return get(api, "-d '{}'"); }, "415", "application/json"},
        {[&] { return post(api, "{}", "-H 'Content-Encoding: br'"); }, "415", "in no other encoding"},
        {[&] { return post(api, "\x1f\x8b nonsense", "-H 'Content-Encoding: gzip'"); }, "400", "damaged"},
        {[&] { return post(api, "{\"a\": "); }, "400", "no JSON: "},
        {[&] { return post(api, "[]"); }, "400", "no JSON object"},
        {[&] { return post(api, R"({"app_key": "other"})"); }, "400", "not what the path says"},
        {[&] { return post(url("sendStateApiEndpoint", key + "/x"), "{}"); }, "400", "32 hexadecimal digits"},
        {[&] { return post(impressions, R"({"events": {}})"); }, "400", "\\\"events\\\" is no array"},
        {[&] { return post(impressions, std::string(17U << 20, ' ')); }, "413", "body is too large"},
        {[&] { return get(root, "-H 'X-Long: " + long20k + "'"); }, "431", "header is too large"},
        {[&] { return get(root, "--request 'B@D'"); }, "400", "no HTTP: "},
    };
    for (const auto& each : cases) {
        const Answer answer = each.request();
        EXPECT_EQ(answer.status, each.status) << each.told;
        EXPECT_CONTAINS(answer.body, each.told);
        EXPECT_NO_THROW(parsed(answer.body).at("error"));
    }
    EXPECT_EQ(get(configurationUrl()).status, "200");
}

TEST_F(Serve, AGzipBodyIsNoWayAroundTheLimit) {
    start();
    write("big", "{\"events\": [\"" + std::string(20U << 20, 'x') + "\"]}");
    ASSERT_EQ(shell("gzip -c big >big.gz").exitCode, 0);
    const Answer answer =
        post(url("analyticsEndpoint", "impression/" + key), read("big.gz"), "-H 'Content-Encoding: gzip'");
    EXPECT_EQ(answer.status, "400");
    EXPECT_CONTAINS(answer.body, "larger than it may be");
}

TEST_F(Serve, SaysWhyItCannotStart) {
    start();
    const std::string root = std::string(*kiv::textMember(ready, "url"));
    const std::string port = root.substr(root.rfind(':') + 1);
    const Call calls[] = {
        {{"missing"}, 1, "missing: is no folder"},
        {{"flags", "--port", port}, 1, "cannot listen on 127.0.0.1, port " + port},
        {{"flags", "--port", "0", "--host", "example"}, 2, "--host: takes an address of this machine"},
    };
    expectTold({"serve"}, calls);
}

TEST_F(Serve, PrintsOptionsThatCompile) {
    service = std::make_unique<Background>(commandLine({"serve", "flags", "--port", "0"}) + " >ready 2>log");
    waitFor("ready", "};\n");
    const std::string out = read("ready");
    const std::string source = out.substr(out.find("KIVOptions{"));
    EXPECT_CONTAINS(source, ".pushNotificationEndpoint = \"http://127.0.0.1:");
    write("options.cpp", "#include <kiv/KIVOptions.h>\nconst KIVOptions options = " + source);
    const Outcome compiled =
        shell(KIV_TEST_COMPILER " -std=c++20 -Wall -Wextra -Werror -fsyntax-only -I '" KIV_TEST_INCLUDE
                                "' options.cpp");
    EXPECT_EQ(compiled.exitCode, 0) << compiled.err;
}

} // namespace
