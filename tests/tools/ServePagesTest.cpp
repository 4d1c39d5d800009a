#include "ServeFixture.h"

#include <map>

namespace {

TEST_F(Serve, ShowsItsPageToBrowsersOfThisMachineAlone) {
    start();
    const std::string root = std::string(*kiv::textMember(ready, "url"));
    const std::string port = root.substr(root.rfind(':') + 1);
    const struct {
        std::string header;
        std::string status;
    } cases[] = {
        {"Host: localhost:" + port, "200"},
        {"Host: [::1]:" + port, "200"},
        {"Host: evil.example:" + port, "403"},
        {"Host: localhost.evil.example", "403"},
        {"Host: 127.0.0.1.evil.example", "403"},
        {"Host: 192.0.2.1:" + port, "403"},
        {"Host: [", "403"},
        {"Host;", "403"},
        {"Origin: http://evil.example", "403"},
        {"Origin: null", "403"},
        {"Origin: " + root, "200"},
        {"Host: localhost:" + port + ", evil.example:" + port, "403"},
        {"Sec-Fetch-Site: same-origin", "200"},
    };
    for (const auto& each : cases) {
        for (const char* path : {"/", "/flag", "/overview.js", "/overview?key=x", "/flag/data?flag=%"}) {
            const Answer answer = get(root + path, "-H '" + each.header + "'");
            EXPECT_EQ(answer.status, each.status) << each.header << " " << path;
        }
        if (each.status == "403") {
            EXPECT_EQ(get(root + "/changes", "-H '" + each.header + "'").status, "403") << each.header;
        }
    }
    const std::string elsewhere = "-H 'Sec-Fetch-Site: cross-site'";
    EXPECT_EQ(get(root + "/", elsewhere).status, "200") << "another site may link to the page";
    EXPECT_EQ(get(root + "/flag", elsewhere).status, "200") << "or to a flag's page";
    for (const char* path : {"/overview?key=x", "/flag/data?flag=f", "/changes", "/live.js"}) {
        EXPECT_EQ(get(root + path, elsewhere).status, "403") << path;
    }
    EXPECT_EQ(post(root + "/overview", "{}").status, "405");
    const std::string head = shell(curlLine(root + "/", "-i")).out;
    expectContains(head, {"Content-Type: text/html", "Content-Security-Policy: default-src 'none';",
                          "X-Content-Type-Options: nosniff"});
    EXPECT_EQ(head.find("Access-Control"), head.npos);
}

TEST_F(Serve, AnswersLoopbackHostsAloneWhileItListensThere) {
    const auto statuses = [&](const std::string& header) {
        const std::string host = "-H '" + header + "'";
        std::string all;
        for (const auto& [endpoint, below] : std::map<const char*, std::string>{
                 {"getConfigCloudEndpoint", hash}, {"sendStateCloudEndpoint", hash}}) {
            all += get(url(endpoint, key + "/" + below), host).status + " ";
        }
        all += post(url("getConfigApiEndpoint", key + "/" + hash), "{}", host).status + " ";
        all += post(url("sendStateApiEndpoint", key + "/" + hash), "{}", host).status + " ";
        all += post(url("analyticsEndpoint", "impression/" + key), R"({"events":[]})", host).status + " ";
        const std::string stream = curlLine(url("pushNotificationEndpoint", key), "-i --max-time 1 " + host);
        return all + shell(stream).out.substr(9, 3);
    };
    start();
    const std::string port = std::string(*kiv::textMember(ready, "url")).substr(17);
    const std::string fine = "200 404 200 200 200 200";
    EXPECT_EQ(statuses("Host: 127.0.0.1:" + port), fine);
    const std::string known = "200 200 200 200 200 200";
    for (const std::string header : {"Host: localhost:1", "Host: [::1]", "Host: LOCALHOST"}) {
        EXPECT_EQ(statuses(header), known) << header;
    }
    for (const std::string& header : {"Host: rebound.example:" + port, std::string("Host: 127.0.0.1.example"),
                                      std::string("Host: 192.0.2.1"), std::string("Host;")}) {
        EXPECT_EQ(statuses(header), "403 403 403 403 403 403") << header;
    }
    EXPECT_CONTAINS(get(configurationUrl(), "-H 'Host: rebound.example'").body, "--host");
    EXPECT_CONTAINS(read("log"), "rebound.example");
    EXPECT_EQ(service->end(SIGTERM), 0);
    start({"--host", "0.0.0.0"}); // reachable from elsewhere, under names that it does not know
    EXPECT_EQ(get(configurationUrl(), "-H 'Host: flags.example'").status, "200");
}

TEST_F(Serve, NotesWhenAFlagsExperimentHasChanged) {
    const auto twoFlags = [](const std::string& first, const std::string& second) {
        const auto experiment = [](const std::string& flag, const std::string& value) {
            return R"({"name": "n", "featureFlags": [{"name": ")" + flag +
                   R"("}], "deploymentConfiguration": {"condition": "\")" + value + R"(\""}})";
        };
        return R"({"experiments": [)" + experiment("a", "x") + "," + experiment(first, second) + "]}";
    };
    const auto publish = [&](const std::string& content, const std::string& time) {
        write("flags/unfinished~", content);
        ASSERT_EQ(shell("touch -d '" + time + "' flags/unfinished~").exitCode, 0);
        std::filesystem::rename("flags/unfinished~", payloadFile);
    };
    const auto expectNoted = [](const std::string& noted) {
        std::string found;
        waitUntil(
            [&] { return (found = query("SELECT flag, changed FROM flag_deciders ORDER BY flag")) == noted; },
            noted + " in the records");
    };
    const std::string first = "|2026-01-01T00:00:00.000Z\n";
    const std::string second = "|2026-01-02T00:00:00.000Z\n";
    publish(twoFlags("b", "x"), "2026-01-01T00:00:00Z");
    start();
    expectNoted("a" + first + "b" + first);
    publish(twoFlags("b", "y"), "2026-01-02T00:00:00Z");
    expectNoted("a" + first + "b" + second);
    publish(twoFlags("c", "y"), "2026-01-02T00:00:00Z");
    expectNoted("a" + first + "c" + second);
    EXPECT_EQ(service->end(SIGTERM), 0);
    publish(twoFlags("c", "z"), "2026-01-01T00:00:00Z"); // an older file: its date counts
    start();
    expectNoted("a" + first + "c" + first);
}

} // namespace
