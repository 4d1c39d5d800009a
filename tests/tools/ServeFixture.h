#pragma once

#include <functional>
#include <memory>

#include "Background.h"
#include "KivCommand.h"

inline const std::string key = "5e0bd1f2c3a4b5d6e7f80912";
inline const std::string uuidKey = "2E8F6C1A-7B3D-4E5F-9A0B-1C2D3E4F5A6B";
inline const std::string hash = "0123456789abcdef0123456789abcdef";

/// A payload with one flag. The condition is put into the JSON text as it is, without escapes.
inline std::string payloadWith(const std::string& condition) {
    return R"({"experiments": [{"name": "n", "featureFlags": [{"name": "shop.colour"}], )"
           R"("deploymentConfiguration": {"condition": ")" +
           condition + "\"}}]}";
}

/// A payload in which the flag has the value.
inline std::string payload(const std::string& value) { return payloadWith(R"(\")" + value + R"(\")"); }

/// Runs `kiv serve` on a free port, for a folder with one payload.
class Serve : public KivCommand {
protected:
    struct Answer {
        std::string status;
        std::string body;
    };

    Serve() {
        std::filesystem::create_directory("flags");
        write("flags/" + key + ".flags.json", payload("red"));
    }

    void start(const Arguments& options = {}) {
        const Arguments serve{"serve", "flags", "--port", "0", "--json"};
        std::filesystem::remove("ready");
        service = std::make_unique<Background>(commandLine(joined(serve, options)) + " >ready 2>log");
        waitUntil([] { return read("ready").ends_with('\n'); }, "the service, which said " + read("log"));
        ready = parsed(read("ready")).get_object();
        write("certificate.txt", *kiv::textMember(ready, "customSigningCertificate"));
    }

    std::string url(const char* endpoint, const std::string& below) const {
        return std::string(*kiv::textMember(ready.at("networkConfigurations"), endpoint)) + "/" + below;
    }

    static std::string curlLine(const std::string& target, const std::string& options) {
        return "curl -sS --noproxy '*' --max-time 30 " + options + " '" + target + "'";
    }

    static Answer get(const std::string& target, const std::string& options = "") {
        const Outcome outcome = shell(curlLine(target, "-o body -w '%{http_code}' " + options));
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        return {outcome.out, read("body")};
    }

    static Answer post(const std::string& target, const std::string& body, const std::string& options = "") {
        write("posted", body);
        return get(target, "-H 'Content-Type: application/json' --data-binary @posted " + options);
    }

    std::string configurationUrl() const { return url("getConfigCloudEndpoint", key + "/" + hash); }

    /// Opens a push stream of the key. What it receives is written to the file.
    std::unique_ptr<Background> openStream(const std::string& file) const {
        auto stream = std::make_unique<Background>("curl -sSiN --noproxy '*' '" +
                                                   url("pushNotificationEndpoint", key) + "' >" + file);
        waitFor(file, "\r\n\r\n");
        return stream;
    }

    static void waitFor(const std::string& file, const std::string& text, std::size_t times = 1) {
        waitUntil([&] { return count(read(file), text) >= times; }, text + " in " + file);
    }

    static std::size_t count(const std::string& text, const std::string& part) {
        std::size_t found = 0;
        for (std::size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size()) {
            ++found;
        }
        return found;
    }

    static void replaceFile(const std::string& name, const std::string& content) {
        write("flags/unfinished~", content);
        std::filesystem::rename("flags/unfinished~", name);
    }

    static std::string query(const std::string& sql) {
        const Outcome outcome = shell("sqlite3 -readonly flags/.kiv/records.sqlite \"" + sql + "\"");
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        return outcome.out;
    }

    const std::string payloadFile = "flags/" + key + ".flags.json";
    std::unique_ptr<Background> service;
    kiv::json::object ready;
};
