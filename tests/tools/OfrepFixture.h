#pragma once

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "Background.h"
#include "KivCommand.h"

/// `kiv serve` as clients of the OpenFeature Remote Evaluation Protocol see it.
namespace ofrep {

inline const std::string key = "5e0bd1f2c3a4b5d6e7f80912";
inline const std::string otherKey = "2E8F6C1A-7B3D-4E5F-9A0B-1C2D3E4F5A6B";

/// A payload that gives each flag a condition.
inline std::string payloadOf(const std::map<std::string, std::string>& conditions,
                             kiv::json::object more = {}) {
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

} // namespace ofrep
