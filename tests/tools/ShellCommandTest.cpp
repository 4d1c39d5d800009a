#include "KivCommand.h"

#include "Support/LoopbackServer.h"
#include "Support/Signing.h"

namespace {

using kiv::json::array;
using kiv::json::object;
using kiv::json::value;

constexpr const char* key = "5e0bd1f2c3a4b5d6e7f80912";

constexpr const char* payload = R"~({"application": "5e0bd1f2c3a4b5d6e7f80912",
    "targetGroups": [{"_id": "french", "condition": "eq(property(\"country\"), \"FR\")"}],
    "experiments": [
    {"featureFlags": [{"name": "shop.express"}],
     "deploymentConfiguration": {"condition": "isInTargetGroup(\"french\")"}},
    {"featureFlags": [{"name": "shop.colour"}],
     "deploymentConfiguration": {"condition": "property(\"screen\")"}},
    {"featureFlags": [{"name": "shop.limit"}], "deploymentConfiguration": {"condition": "5000000000"}},
    {"featureFlags": [{"name": "shop.rate"}], "deploymentConfiguration": {"condition": "property(\"rate\")"}}]})~";

class ShellCommand : public KivCommand {
protected:
    /// Runs the commands, each put on one line, and returns the lines that the shell wrote.
    static std::vector<value> run(const std::vector<std::string>& lines) {
        std::string script;
        for (std::string line : lines) {
            std::erase(line, '\n');
            script += line + "\n";
        }
        const Outcome outcome = kiv({"shell"}, script);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        std::vector<value> written;
        std::istringstream answers(outcome.out);
        for (std::string line; std::getline(answers, line);) {
            value each = parsed(line);
            // Without a service the fetch from the network fails, sooner or later.
            if (const value* status = kiv::member(each, "fetcherStatus"); !status || *status != 5) {
                written.push_back(std::move(each));
            }
        }
        return written;
    }

    /// Runs the commands of a session. The shell must write exactly the lines that follow each command there.
    static void expect(const std::vector<std::pair<std::string, std::vector<std::string>>>& session) {
        std::vector<std::string> lines;
        for (const auto& [line, answers] : session) {
            lines.push_back(line);
        }
        const std::vector<value> written = run(lines);
        auto next = written.begin();
        for (const auto& [line, answers] : session) {
            for (const std::string& answer : answers) {
                ASSERT_NE(next, written.end()) << line;
                EXPECT_TRUE(kiv::equalJson(*next, parsed(answer)))
                    << line << "\ngave " << kiv::compactJson(*next) << "\nnot  " << answer;
                ++next;
            }
        }
        EXPECT_EQ(next, written.end()) << kiv::compactJson(*next);
    }

    std::string host() const {
        return R"({"do": "host", "libraryDirectory": ")" + folder +
               R"(/library", "bundleIdentifier": "io.test.shell", "deviceName": "bench",
                "screen": {"width": 320, "height": 480}, "idiom": "pad"})";
    }

    std::string setupWith(object options) const {
        options["customSigningCertificate"] = signer.certificateBase64;
        return kiv::compactJson(object{{"do", "setup"}, {"key", key}, {"options", std::move(options)}});
    }

    /// Sets up with a document that was signed for this test.
    std::string setup() const {
        write("flags.json", signer.sign(payload));
        return setupWith({{"defaultConfigurationPath", folder + "/flags.json"},
                          {"defaultFreezeLevel", 2},
                          {"networkConfigurations", object()}});
    }

    const Signer signer = makeSigner();
    const std::string ok = R"({"ok": true})";
    const std::string fetched = R"({"event": "configurationFetched", "fetcherStatus": 1,
        "creationDate": "2026-01-31T12:00:00.000Z", "errorDetails": null, "hasChanges": true})";
    const std::string registration = R"({"do": "register", "namespace": "shop", "flags": [
        {"name": "express", "type": "flag", "default": false, "freeze": 3},
        {"name": "colour", "type": "string", "default": "blue", "variations": ["red"]},
        {"name": "limit", "type": "int", "default": 3, "variations": [1], "freeze": 3},
        {"name": "rate", "type": "double", "default": 0.5, "freeze": 3}]})";
};

TEST_F(ShellCommand, DrivesTheLibraryFromSetupToShutdown) {
    const auto impression = [](const std::string& name, const std::string& read, const std::string& context) {
        return R"({"event": "impression", "name": ")" + name + R"(", "value": ")" + read +
               R"(", "targeting": true, "context": )" + context + "}";
    };
    expect({
        {R"({"id": 7, "do": "state"})", {R"({"id": 7, "ok": true, "state": 0})"}},
        {host(), {ok}},
        {registration, {ok}},
        {R"({"do": "read", "name": "shop.rate"})", {R"({"ok": true, "value": 0.5})"}},
        {R"({"do": "property", "type": "string", "key": "country", "value": "FR"})", {ok}},
        {R"({"do": "setStateDebounceTime", "seconds": 0.5})", {ok}},
        {R"({"do": "property", "type": "double", "key": "rate", "value": 0.25, "computed": true})", {ok}},
        {"", {}},
        {setup(), {fetched, ok}},
        {R"({"do": "state"})", {R"({"ok": true, "state": 2})"}},
        {R"({"id": {"a": [1]}, "do": "read", "name": "shop.express"})",
         {impression("shop.express", "true", "{}"), R"({"id": {"a": [1]}, "ok": true, "value": true})"}},
        {R"({"do": "read", "name": "shop.limit"})",
         {impression("shop.limit", "5000000000", "{}"), R"({"ok": true, "value": 5000000000})"}},
        {R"({"do": "read", "name": "shop.rate", "context": {"rate": 7, "n": null}})",
         {impression("shop.rate", "0.25", R"({"rate": 7, "n": null})"), R"({"ok": true, "value": 0.25})"}},
        // Freezes, until the application comes to the foreground.
        {R"({"do": "globalContext", "values": {"screen": "home"}})", {ok}},
        {R"({"do": "read", "name": "shop.colour"})",
         {impression("shop.colour", "home", R"({"screen": "home"})"), R"({"ok": true, "value": "home"})"}},
        {R"({"do": "globalContext", "values": {"screen": "cart"}})", {ok}},
        {R"({"do": "read", "name": "shop.colour"})", {R"({"ok": true, "value": "home"})"}},
        {R"({"do": "unfreezeNamespace", "namespace": "other"})", {ok}},
        {R"({"do": "peek", "name": "shop.colour"})", {R"({"ok": true, "value": "home"})"}},
        {R"({"do": "unfreezeNamespace", "namespace": "shop"})", {ok}},
        {R"({"do": "peek", "name": "shop.colour"})", {R"({"ok": true, "value": "cart"})"}},
        {R"~({"do": "evaluate", "flagName": "shop.colour", "context": {"screen": "desk", "a": 1},
              "expression": "and(eq(property(\"screen\"), \"cart\"), numeq(property(\"a\"), 1))"})~",
         {R"({"ok": true, "outcome": "value", "type": "bool", "value": true, "stringValue": "true"})"}},
        {R"~({"do": "evaluate", "expression": "property(\"nowhere\")"})~",
         {R"({"ok": true, "outcome": "undefined"})"}},
        {R"({"do": "property", "type": "datetime", "key": "day", "value": 8.5})", {ok}},
        {R"~({"do": "evaluate", "expression": "tsToNum(property(\"day\"))"})~",
         {R"({"ok": true, "outcome": "value", "type": "int", "value": 8, "stringValue": "8"})"}},
        // What a callback of the application throws.
        {R"({"do": "property", "type": "int", "key": "bad", "throws": "no network"})", {ok}},
        {R"~({"do": "evaluate", "expression": "property(\"bad\")"})~",
         {R"({"event": "unhandledError", "trigger": 3, "reason": "no network"})",
          R"({"ok": true, "outcome": "empty"})"}},
        {R"({"do": "describe", "name": "shop.colour"})",
         {R"({"ok": true, "class": "KIVString", "default": "blue", "variations": ["red", "blue"],
              "freezeLevel": 2, "isUsingDefaultFreezeLevel": true})"}},
        {R"({"do": "describe", "name": "shop.limit"})",
         {R"({"ok": true, "class": "KIVInt", "default": "3", "variations": ["1", "3"], "freezeLevel": 3,
              "isUsingDefaultFreezeLevel": false})"}},
        {R"({"do": "forceValue", "name": "shop.limit", "value": 12})", {ok}},
        {R"({"do": "flags"})", {R"({"ok": true, "flags": {"shop.colour": "cart", "shop.express": "true",
                                    "shop.limit": "12", "shop.rate": "0.25"}})"}},
        {R"({"do": "dynamic", "call": "getInt", "name": "late", "default": 4, "variations": [1, 2]})",
         {R"({"event": "impression", "name": "late", "value": "4", "targeting": false,
              "context": {"screen": "cart"}})",
          R"({"ok": true, "value": 4})"}},
        {R"({"do": "dynamic", "call": "isEnabled", "name": "shop.express", "default": false})",
         {impression("shop.express", "true", R"({"screen": "cart"})"), R"({"ok": true, "value": true})"}},
        {R"({"do": "shutdown"})", {ok}},
        {R"({"do": "state"})", {R"({"ok": true, "state": 0})"}},
        {R"({"do": "flags"})", {R"({"ok": true, "flags": {}})"}},
        {R"({"do": "read", "name": "shop.limit"})", {R"({"ok": true, "value": 12})"}},
        {R"({"id": "end", "do": "quit"})", {R"({"id": "end", "ok": true})"}},
        {R"({"do": "state"})", {}},
    });
}

TEST_F(ShellCommand, OverridesOutliveTheProcess) {
    expect({
        {host(), {ok}},
        {registration, {ok}},
        {setup(), {fetched, ok}},
        {R"({"do": "override", "name": "shop.colour", "value": "green"})", {ok}},
        {R"({"do": "override", "name": "shop.limit", "value": 9})", {ok}},
        {R"({"do": "read", "name": "shop.limit"})", {R"({"ok": true, "value": 9})"}},
    });
    expect({
        {host(), {ok}},
        {registration, {ok}},
        {setup(), {fetched, ok}},
        {R"({"do": "read", "name": "shop.colour"})", {R"({"ok": true, "value": "green"})"}},
        {R"({"do": "originalValue", "name": "shop.limit"})", {R"({"ok": true, "value": "5000000000"})"}},
        {R"({"do": "clearOverride", "name": "shop.colour"})", {ok}},
        {R"({"do": "peek", "name": "shop.colour"})", {R"({"ok": true, "value": "blue"})"}},
        {R"({"do": "clearOverrides"})", {ok}},
        {R"({"do": "peek", "name": "shop.limit"})", {R"({"ok": true, "value": "5000000000"})"}},
    });
}

TEST_F(ShellCommand, WaitsForEvents) {
    const std::string waitForRead = R"({"do": "wait", "event": "impression", "timeout": 0.05})";
    const std::string timeout =
        R"({"ok": false, "error": {"name": "timeout", "reason": "no impression came within 0.05 seconds"}})";
    const std::string read = R"({"do": "dynamic", "call": "isEnabled", "name": "a", "default": true})";
    const std::string impression =
        R"({"event": "impression", "name": "a", "value": "true", "targeting": false, "context": {}})";
    const std::string value = R"({"ok": true, "value": true})";
    expect({
        {host(), {ok}},
        {setup(), {fetched, ok}},
        {R"({"do": "wait", "event": "configurationFetched", "timeout": 0})", {ok}},
        {waitForRead, {timeout}},
        {read, {impression, value}},
        {R"({"do": "unfreeze"})", {ok}},
        {read, {impression, value}},
        {waitForRead, {ok}},
        {waitForRead, {timeout}},
    });
}

TEST_F(ShellCommand, TellsWhatTheHostIsAndWaitsForWhatAServiceSendsIt) {
    const std::vector<value> first = run({host(), setup(), R"({"do": "deviceProperties"})", host()});
    const object& device = first.at(3).at("deviceProperties").as_object();
    EXPECT_EQ(device.at("app_key").as_string(), key);
    EXPECT_EQ(device.at("device_name").as_string(), "bench");
    EXPECT_EQ(device.at("screen_width").as_string(), "320");
    EXPECT_EQ(device.at("userInterfaceIdiom").as_string(), "pad");
    EXPECT_TRUE(std::filesystem::exists(folder + "/library"));
    EXPECT_EQ(first.at(4).at("error").at("name").as_string(), "InternalInconsistency");

    LoopbackServer server;
    server.on("/" + std::string(device.at("cache_miss_relative_url").as_string()),
              LoopbackServer::answer(200, signer.sign(payload)));
    const std::vector<value> written =
        run({host(), registration,
             setupWith({{"networkConfigurations", {{"getConfigCloudEndpoint", server.url("")}}}}),
             R"({"do": "wait", "event": "configurationFetched", "timeout": 30})",
             R"({"do": "peek", "name": "shop.limit"})"});
    const auto event =
        std::ranges::find_if(written, [](const value& line) { return line.as_object().contains("event"); });
    ASSERT_NE(event, written.end());
    EXPECT_EQ(event->at("fetcherStatus"), 3);
    EXPECT_EQ(kiv::compactJson(written.back()), R"({"ok":true,"value":"5000000000"})");
    ASSERT_EQ(written.size(), 6U);
    EXPECT_LT(event - written.begin(), 4) << "the event came after the answer to wait";
}

TEST_F(ShellCommand, AnswersMistakesAndGoesOn) {
    const std::string mega(1 << 20, 'x');
    const struct {
        std::string line;
        std::string name;
        std::string told;
    } cases[] = {
        {"nonsense", "InvalidArgument", "not JSON"},
        {"[1]", "InvalidArgument", "a command must be a JSON object"},
        {"{}", "InvalidArgument", "\"do\": is missing"},
        {R"({"do": "raed", "name": "a"})", "InvalidArgument", "Did you mean read?"},
        {"{\"do\": \"" + mega + "\"}", "InvalidArgument", "is none of host"},
        {mega, "InvalidArgument", "not JSON"},
        {"{\"do\": \"\xff\"}", "InvalidArgument", "not JSON"},
        {R"({"do": "read", "name": null})", "InvalidArgument", "\"name\": must be a text"},
        {R"({"do": "read", "name": "colour", "context": [1]})", "InvalidArgument", "must be an object"},
        {R"({"do": "read", "name": "colour", "contxt": {}})", "InvalidArgument", "Did you mean context?"},
        {R"({"do": "read", "name": "color"})", "InvalidArgument", "Did you mean colour?"},
        {R"({"do": "setup", "key": "x"})", "wrong apiKey format", "Please enter a valid apiKey"},
        {R"({"do": "setup", "key": null})", "wrong apiKey format", "Please enter a valid apiKey"},
        {R"({"do": "setup", "key": "x", "options": {"verbse": 1}})", "InvalidArgument", "mean verbose?"},
        {R"({"do": "setup", "key": "x", "options": {"verbose": -1}})", "InvalidArgument", "0 or greater"},
        {R"({"do": "setup", "key": "x", "options": {"networkConfigurations": {"push": "u"}}})",
         "InvalidArgument", "\"networkConfigurations\" has no field \"push\""},
        {R"({"do": "register", "namespace": null, "flags": []})", "InvalidNamespace", "cannot be nil"},
        {R"({"do": "register", "flags": []})", "InvalidNamespace", "already been registered"},
        {R"({"do": "handleNamespace", "namespace": ""})", "InvalidNamespace", "already been registered"},
        {R"({"do": "register", "namespace": "n", "flags": [{"name": "a", "type": "int", "default": 1.5}]})",
         "InvalidArgument", "the flag \"a\": \"default\": must be a whole number"},
        {R"({"do": "register", "namespace": "n", "flags": [{"name": "a", "type": "bool", "default": true}]})",
         "InvalidArgument", "is none of flag, string, int and double"},
        {R"({"do": "dynamic", "call": "getValue", "name": null, "default": ""})", "InvalidArgument",
         "Feature flag name cannot be nil"},
        {R"({"do": "dynamic", "call": "getValue", "name": "v", "default": "", "variations": [null]})",
         "InvalidArgument", "Feature flag variation cannot be nil"},
        {R"({"do": "property", "type": "int", "key": "i", "value": 5000000000})", "InvalidArgument",
         "\"value\": must be a whole number of 32 bits"},
        {R"({"do": "override", "name": "colour", "value": "x"})", "InternalInconsistency", "before setup"},
        {R"({"do": "evaluate", "expression": "1"})", "InternalInconsistency", "before setup"},
        {R"({"do": "wait", "event": "impresion", "timeout": 1})", "InvalidArgument", "mean impression?"},
        {R"({"do": "wait", "event": "impression", "timeout": -1})", "InvalidArgument", "from 0 to 86400"},
        {R"({"do": "setStateDebounceTime", "seconds": "3"})", "InvalidArgument", "must be a number"},
    };
    std::vector<std::string> lines{
        R"({"do": "register", "flags": [{"name": "colour", "type": "string", "default": "blue"}]})"};
    for (const auto& each : cases) {
        lines.push_back(each.line);
        lines.emplace_back(R"({"id": 1, "do": "peek", "name": "colour"})");
    }
    const std::vector<value> written = run(lines);
    ASSERT_EQ(written.size(), lines.size());
    auto answer = written.begin();
    for (const auto& each : cases) {
        const std::string shown = each.line.substr(0, 200);
        const value& mistake = *++answer;
        EXPECT_FALSE(mistake.at("ok").as_bool()) << shown;
        EXPECT_EQ(mistake.at("error").at("name").as_string(), each.name) << shown;
        EXPECT_CONTAINS(std::string(mistake.at("error").at("reason").as_string()), each.told);
        EXPECT_LT(kiv::compactJson(mistake).size(), 1000U) << shown;
        EXPECT_EQ(kiv::compactJson(*++answer), R"({"id":1,"ok":true,"value":"blue"})") << shown;
    }
}

TEST_F(ShellCommand, TakesANamespaceAsItIs) {
    const std::vector<value> written = run(
        {R"({"do": "register", "namespace": " ", "flags": [{"name": "x", "type": "flag", "default": true}]})",
         R"({"do": "handleNamespace", "namespace": "  "})", R"({"do": "flags"})",
         R"({"do": "handleNamespace", "namespace": " "})", R"({"do": "register", "flags": []})"});
    ASSERT_EQ(written.size(), 5U);
    EXPECT_TRUE(written[1].at("ok").as_bool());
    EXPECT_EQ(kiv::compactJson(written[2].at("flags")), R"({" .x":"true"})");
    EXPECT_CONTAINS(kiv::compactJson(written[3]), "(' ') has already been registered");
    EXPECT_TRUE(written[4].at("ok").as_bool());
}

} // namespace
