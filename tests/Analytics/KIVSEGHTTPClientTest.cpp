#include "Analytics/KIVSEGHTTPClient.h"

#include <future>
#include <limits>
#include <optional>
#include <stdexcept>

#include <gtest/gtest.h>

#include "Analytics/KIVSEGLog.h"
#include "Platform/Crypto/Base64.h"
#include "Platform/Threads/Queues.h"
#include "Support/CapturedLog.h"
#include "Support/Host.h"
#include "Support/LoopbackServer.h"
#include "Support/ManualClock.h"

namespace {

using Object = kiv::json::object;

const std::string key = "5e0bd1f2c3a4b5d6e7f80912";
const std::string path = "/events/impression/" + key;

class Upload : public testing::Test {
protected:
    Upload() { kivSegLogEnabled = true; }

    std::unique_ptr<KIVSEGHTTPClient> client(KIVSEGRequestFactory factory = {}) const {
        return std::make_unique<KIVSEGHTTPClient>(
            std::move(factory), std::make_shared<const KIVDeviceProperties>(
                                    key, std::nullopt, std::make_shared<KIVCustomPropertiesRepository>(),
                                    std::make_shared<KIVFeatureFlagsRepository>()));
    }

    static Object batchOf(kiv::json::array events) {
        return {{"sentAt", "2026-11-21T09:40:16.123Z"}, {"batch", std::move(events)}};
    }

    /// Whether the events are to be sent again; nullopt when no answer comes. Destroys the client before
    /// that.
    std::optional<bool> retry(std::unique_ptr<KIVSEGHTTPClient> client, const std::string& base,
                              const Object& batch) {
        auto answer = std::make_shared<std::promise<bool>>();
        auto future = answer->get_future();
        started = client->upload(batch, base, key, [answer](bool again) { answer->set_value(again); });
        client.reset();
        return future.wait_for(std::chrono::seconds(10)) == std::future_status::ready
                   ? std::optional(future.get())
                   : std::nullopt;
    }

    CapturedLog log;
    LoopbackServer server;
    std::shared_ptr<kiv::HttpTask> started;
};

TEST_F(Upload, PostsThePropertiesOfEachEventInOrder) {
    ManualClock::install();
    server.on(path, LoopbackServer::answer(200, ""));
    const Object batch = batchOf({Object{{"type", "track"}, {"properties", {{"flag", "b"}, {"time", 1.5}}}},
                                  Object{{"type", "alias"}, {"userId", "u"}},
                                  Object{{"type", "track"}, {"properties", {{"flag", "a\xFF"}}}},
                                  Object{{"type", "track"}, {"properties", Object{}}}});
    const auto factory = [](const std::string& url) {
        return kiv::HttpRequest{.url = url, .headers = {{"content-type", "text/plain"}, {"X-Own", "1"}}};
    };
    EXPECT_EQ(retry(client(factory), server.url("/events"), batch), false);
    EXPECT_TRUE(started);
    ASSERT_TRUE(server.waitForRequests(1));
    const auto request = server.requests()[0];
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, path);
    EXPECT_EQ(request.headers.at("content-type"), "application/json");
    EXPECT_EQ(request.headers.at("user-agent"), "kiv/5.0.16");
    EXPECT_EQ(request.headers.at("x-own"), "1");
    EXPECT_FALSE(request.headers.contains("authorization"));
    EXPECT_EQ(request.body, R"({"analyticsVersion":"1.0.0","sdkVersion":"5.0.16","time":1800000000000,)"
                            R"("platform":"iOS","corvaneKey":")" +
                                key +
                                R"(","events":[{"flag":"b","time":1.5},{"flag":"a)"
                                "\uFFFD"
                                R"("},{}]})");
}

TEST_F(Upload, TellsWhichOutcomesAreToBeRetried) {
    const struct {
        int status; ///< 0 for a server that hangs up
        bool retry;
        std::string line;
    } rows[] = {
        {0, true, "Error uploading request "},
        {200, false, ""},
        {204, false, ""},
        {302, true, "Server responded with unexpected HTTP code 302."},
        {304, true, "Server responded with unexpected HTTP code 304."},
        {400, false, "Server rejected payload with HTTP code 400."},
        {404, false, "Server rejected payload with HTTP code 404."},
        {429, true, "Server limited client with response code 429."},
        {500, true, "Server error with HTTP code 500."},
        {503, true, "Server error with HTTP code 503."},
    };
    for (const auto& row : rows) {
        log.clear();
        server.on(path, row.status == 0 ? LoopbackServer::reset() : LoopbackServer::answer(row.status, ""));
        EXPECT_EQ(retry(client(), server.url("/events"), batchOf({})), row.retry) << row.status;
        EXPECT_EQ(log.has({row.line.empty() ? "HTTP code" : row.line}), !row.line.empty()) << row.status;
    }
    EXPECT_EQ(retry(client(), "no url", batchOf({})), true);
}

TEST_F(Upload, ThatARedirectTurnsIntoAGetIsToBeRetried) {
    server.on("/moved", LoopbackServer::answer(200, ""));
    server.on("/gone", LoopbackServer::answer(404, ""));
    const struct {
        int status;
        std::string location;
        bool retry;
    } rows[] = {{301, "/moved", true}, {302, "/moved", true},  {303, "/moved", true},
                {302, "/gone", true},  {307, "/moved", false}, {308, "/gone", false}};
    for (const auto& row : rows) {
        log.clear();
        server.on(path, LoopbackServer::redirect(row.status, row.location));
        EXPECT_EQ(retry(client(), server.url("/events"), batchOf({})), row.retry) << row.status;
        EXPECT_EQ(log.has({"turned the upload into a GET"}), row.retry) << row.status;
    }
}

TEST_F(Upload, LeavesTheNetworkThreadBeforeItLogs) {
    server.on(path, LoopbackServer::answer(500, ""));
    const auto threads =
        std::make_shared<std::vector<bool>>(); // of the lines, whether it was the work thread
    configureHost([&](KIVHost& host) {
        host.logSink = [threads](const std::string&) { threads->push_back(kiv::isOnWorkThread()); };
    });
    EXPECT_EQ(retry(client(), server.url("/events"), batchOf({})), true);
    EXPECT_EQ(*threads, std::vector<bool>{true});
}

TEST_F(Upload, IsNoneWithoutABodyOrARequest) {
    const double infinite = std::numeric_limits<double>::infinity();
    const Object batch = batchOf({Object{{"properties", {{"time", infinite}}}}});
    EXPECT_EQ(retry(client(), server.url("/events"), batch), false) << "these can never be sent";
    EXPECT_FALSE(started);
    EXPECT_TRUE(log.has({"Error serializing JSON for batch upload "}));

    const auto failing = [](const std::string&) -> kiv::HttpRequest { throw std::runtime_error("none"); };
    EXPECT_EQ(retry(client(failing), server.url("/events"), batchOf({})), true);
    EXPECT_FALSE(started);
    EXPECT_TRUE(log.has({"Error uploading request ", "none"}));
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(Upload, HasASessionForEachKey) {
    const auto made = client();
    EXPECT_EQ(&made->sessionForWriteKey("a"), &made->sessionForWriteKey("a"));
    EXPECT_NE(&made->sessionForWriteKey("a"), &made->sessionForWriteKey("b"));
    EXPECT_EQ(made->genericSession().additionalHeaders[1],
              (std::pair<std::string, std::string>("User-Agent", "analytics-ios/3.6.9")));
    EXPECT_EQ(KIVSEGHTTPClient::authorizationHeader("key"), "Basic " + kiv::encodeBase64("key:"));
}

} // namespace
