#include <algorithm>
#include <array>
#include <atomic>
#include <future>

#include <gtest/gtest.h>
#include <pthread.h>

#include "Core/KIVCoreInstance.h"
#include "CorvaneClient/KIVClient.h"
#include "CorvaneClient/KIVClientConfigurationLoadingDataManager.h"
#include "CorvaneClient/Shop.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Support/CapturedLog.h"
#include "Support/Inbox.h"
#include "Support/LoopbackServer.h"
#include "Support/ManualClock.h"
#include "Support/Signing.h"
#include "Support/Threads.h"

namespace {

using namespace std::chrono_literals;
using Server = LoopbackServer;

const std::string early = "2026-01-01T00:00:00.000Z";
const std::string late = "2026-02-01T00:00:00.000Z";

/// A payload that gives the flag "shop.color" a value, and the flag "kiv.internal.INTERNAL" the value `text`.
std::string payload(const std::string& color, const std::string& internal = "",
                    const std::string& text = "") {
    kiv::json::array experiments{experiment("shop.color", color)};
    if (!internal.empty()) {
        experiments.push_back(experiment("kiv.internal." + internal, text));
    }
    return payloadOf(experiments);
}

/// An application with the flags of a shop, and a server on loopback for its endpoints.
class Fetch : public ::testing::Test {
protected:
    Fetch() { KIVCore::register_("shop", flags); }
    ~Fetch() override { KIVCore::shutdown(); }

    void setUp(KIVNetworkConfigurationsOptions endpoints) {
        KIVCore::setupWithKey(shopKey,
                              {.onConfigurationFetched =
                                   [heard = heard](const KIVFetcherResult& result) { heard->put(result); },
                               .verbose = 1,
                               .customSigningCertificate = signer.certificateBase64,
                               .networkConfigurations = std::move(endpoints)});
    }
    void setUp() { setUp({.getConfigCloudEndpoint = server.url("/cdn")}); }

    /// The next result that `onConfigurationFetched` is told, as "STATUS ERROR"; "nothing" when none comes in
    /// time.
    std::string nextResult() {
        const auto next = heard->next();
        if (!next) {
            return "nothing";
        }
        last = *next;
        return std::to_string(last.fetcherStatus) + (last.errorDetails ? " " + *last.errorDetails : "");
    }

    /// The colour in the stored document; "nothing" without a document, "another" when its colour is no known
    /// one.
    std::string stored() const {
        const auto document =
            KIVClientConfigurationLoadingDataManager(KIVDataPersistency(), nullptr, std::nullopt, shopKey)
                .productionConfiguration();
        const auto* data = document ? kiv::textMember(*document, "data") : nullptr;
        if (!data) {
            return "nothing";
        }
        for (const char* color : {"red", "green"}) {
            if (data->find(color) != kiv::json::string::npos) {
                return color;
            }
        }
        return "another";
    }

    void answerCdn(Server::Behaviour behaviour) {
        server.on("/cdn/" + shopKey + "/" + buid, std::move(behaviour));
    }
    void serve(const std::string& payload, const std::string& date = late) {
        answerCdn(Server::answer(200, signer.sign(payload, date)));
    }

    CapturedLog log;
    const Signer signer = makeSigner();
    const std::string buid = KIVDeviceProperties::buidFor(shopKey, signer.certificateBase64);
    LoopbackServer server;
    std::shared_ptr<ShopFlags> flags = std::make_shared<ShopFlags>();
    std::shared_ptr<Inbox<KIVFetcherResult>> heard = std::make_shared<Inbox<KIVFetcherResult>>();
    KIVFetcherResult last;
};

TEST_F(Fetch, ServesStoresAndTellsWhatTheServiceSays) {
    const std::string good = signer.sign(payload("red"), early);
    const std::string unverifiable = makeSigner().sign(payload("red"), early);
    const std::string foreign =
        signer.sign(R"({"application":"5e0bd1f2c3a4b5d6e7f80913","experiments":[]})", early);
    const struct {
        const char* name;
        Server::Behaviour behaviour;
        std::string result; ///< status and error
        std::string stored;
        std::string served;
    } cases[] = {
        {"a document", Server::answer(200, good), "3", "red", "red"},
        {"any status with a document", Server::answer(500, good), "3", "red", "red"},
        {"a redirect to it", Server::redirect(302, "/elsewhere"), "3", "red", "red"},
        {"a document after a byte order mark", Server::answer(200, "\xEF\xBB\xBF" + good), "3", "red", "red"},
        {"a dummy",
         Server::answer(200,
                        signer.sign(payloadOf({experiment("shop.color", "red")}, {{"dummy", true}}), early)),
         "3", "green", "red"},
        {"a document for another application", Server::answer(200, foreign), "3", "another", "green"},
        {"a document for nobody",
         Server::answer(200, signer.sign(R"({"application":"","experiments":[]})", early)), "3", "another",
         "green"},
        {"a document for the beginning of the key",
         Server::answer(200, signer.sign(R"({"application":"5e0bd1f2","experiments":[]})", early)), "3",
         "another", "green"},
        {"a wrong signature", Server::answer(200, unverifiable), "5 KIVNetwork_signatureWasNotVerified",
         "red", "green"},
        {"data that is no JSON", Server::answer(200, signer.sign("{red", early)), "5 KIVNetwork_jsonParsing",
         "red", "green"},
        {"no envelope", Server::answer(200, "{}"), "5 KIVNetwork_signatureWasNotVerified", "nothing",
         "green"},
        {"an array", Server::answer(200, "[1]"), "5 KIVNetwork_jsonParsing", "green", "green"},
        {"HTML", Server::answer(200, "<html></html>"), "5 KIVNetwork_jsonParsing", "green", "green"},
        {"an empty body", Server::answer(200, ""), "5 KIVNetwork_emptyResult", "green", "green"},
        {"an error without a body", Server::answer(429, ""), "5 KIVNetwork_emptyResult", "green", "green"},
        {"not found, and no API", Server::answer(404, ""), "5 KIVNetwork_unknownError", "green", "green"},
        {"forbidden, and no API", Server::answer(403, good), "5 KIVNetwork_unknownError", "green", "green"},
        {"a body that says not found, and no API", Server::answer(200, R"({"result":404})"),
         "5 KIVNetwork_unknownError", "green", "green"},
        {"a body that says not found with a fraction", Server::answer(200, R"({"result":404.7})"),
         "5 KIVNetwork_unknownError", "green", "green"},
        {"a reset", Server::reset(), "5 KIVNetwork_unknownError", "green", "green"},
        {"half a body", Server::raw("HTTP/1.1 200 OK\r\nContent-Length: 99999\r\n\r\n" + good),
         "5 KIVNetwork_unknownError", "green", "green"},
    };
    server.on("/elsewhere", Server::answer(200, good));
    setUp();
    EXPECT_EQ(nextResult(), "5 KIVNetwork_unknownError") << "the server does not know it yet";
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        serve(payload("green"));
        KIVCore::fetch();
        EXPECT_EQ(nextResult(), "3");
        answerCdn(each.behaviour);
        KIVCore::fetch();
        EXPECT_EQ(nextResult(), each.result);
        EXPECT_EQ(flags->color.value(), each.served);
        EXPECT_EQ(stored(), each.stored);
    }
}

TEST_F(Fetch, AsksTheApiForWhatTheCdnDoesNotHave) {
    server.on("/api/" + shopKey + "/" + buid,
              Server::answer(200, signer.sign(payload("red"), late), {{"Content-Type", "application/json"}}));
    setUp({.getConfigApiEndpoint = server.url("/api/"), .getConfigCloudEndpoint = server.url("/cdn")});
    EXPECT_EQ(nextResult(), "3");
    EXPECT_EQ(flags->color.value(), "red");
    EXPECT_EQ(stored(), "red");
    EXPECT_FALSE(last.hasChanges) << "there was nothing to differ from";

    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].method, "GET");
    const std::string query = requests[0].target.substr(requests[0].target.find('?') + 1);
    EXPECT_TRUE(query.starts_with("canticache=")) << query;
    EXPECT_NE(query.find("&distinct_id="), std::string::npos);
    EXPECT_TRUE(query.ends_with("&realPlatform=iOS&platform=iOS&platformVersion=Objective-C&languageVersion="
                                "Objective-C"))
        << query;
    EXPECT_EQ(requests[0].headers.at("cache-control"), "no-cache");
    EXPECT_EQ(requests[1].method, "POST");
    EXPECT_EQ(requests[1].headers.at("content-type"), "application/json");
    const auto body = kiv::parseJson(requests[1].body);
    ASSERT_TRUE(body);
    EXPECT_EQ(*kiv::textMember(*body, "app_key"), shopKey);
    EXPECT_EQ(*kiv::textMember(*body, "buid"), buid);

    // Without a CDN the API is asked at once.
    serve(payload("blue"));
    KIVCore::fetch();
    EXPECT_EQ(nextResult(), "3");
    EXPECT_TRUE(last.hasChanges);
    EXPECT_EQ(server.requests().size(), 3U);
}

TEST_F(Fetch, IsThrottledAsTheConfigurationSays) {
    ManualClock& clock = ManualClock::install();
    serve(payload("red", "throttleFetchInSeconds", "30"));
    setUp();
    EXPECT_EQ(nextResult(), "3");
    KIVCore::fetch(); // the throttling period begins
    EXPECT_EQ(nextResult(), "3");
    clock.advance(29);
    KIVCore::fetch();
    EXPECT_TRUE(eventually([&] { return log.has({"Skipping fetch - kill switch"}); }));
    KIVCoreInstance::getInstance().client()->fetchConfigurationFromURLExpanding("push");
    EXPECT_EQ(nextResult(), "3") << "fetches for the push stream are not throttled";
    clock.advance(2);
    KIVCore::fetch();
    EXPECT_EQ(nextResult(), "3");
    clock.advance(-1000); // the device's clock is set back: the time since the last fetch is unknown
    KIVCore::fetch();
    EXPECT_EQ(nextResult(), "3");
    EXPECT_TRUE(heard->isEmpty());
    EXPECT_EQ(server.requests().size(), 5U);
}

TEST_F(Fetch, OutlivesAHandlerThatEndsItsThread) {
    serve(payload("red"));
    std::atomic<int> fetched = 0;
    KIVCore::setupWithKey(shopKey,
                          {.onConfigurationFetched =
                               [&](const KIVFetcherResult&) {
                                   ++fetched;
                                   pthread_exit(nullptr);
                               },
                           .customSigningCertificate = signer.certificateBase64,
                           .networkConfigurations = {{.getConfigCloudEndpoint = server.url("/cdn")}}});
    EXPECT_TRUE(eventually([&] { return fetched == 1; }));
    KIVCore::fetch();
    EXPECT_TRUE(eventually([&] { return fetched == 2; }));
    EXPECT_EQ(flags->color.value(), "red");
    EXPECT_TRUE(log.has({"A callback ended the library's thread kiv-work"}));
    KIVCore::shutdown(); // before what the handler counts goes
}

TEST_F(Fetch, ListensToThePushStreamWhileTheConfigurationSaysSo) {
    // The text that the server sends on the first stream and on the second, before it ends each.
    const auto words = std::make_shared<std::array<std::promise<std::string>, 2>>();
    const auto opened = std::make_shared<std::atomic<std::size_t>>(0);
    server.on("/sse/" + shopKey, [words, opened](const auto&, Server::Connection& connection) {
        connection.send("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n:\n\n");
        connection.send(words->at((*opened)++).get_future().get());
        connection.close();
    });

    serve(payload("red", "pushUpdates", "true"));
    setUp({.getConfigCloudEndpoint = server.url("/cdn"), .pushNotificationEndpoint = server.url("/sse")});
    EXPECT_EQ(nextResult(), "3");
    ASSERT_TRUE(eventually([&] { return *opened == 1; }));
    EXPECT_TRUE(log.has({"Push Updates are on"}));

    serve(payload("green", "pushUpdates", "true"));
    words->at(0).set_value("event: other\ndata: x\n\nevent: changed\ndata: y\n\n");
    EXPECT_EQ(nextResult(), "3");
    EXPECT_EQ(flags->color.value(), "green");

    // The next ordinary fetch opens a new stream after one that has ended.
    EXPECT_TRUE(eventually([&] {
        KIVCore::fetch();
        EXPECT_EQ(nextResult(), "3");
        return *opened == 2;
    }));

    serve(payload("blue"));
    KIVCore::fetch();
    EXPECT_EQ(nextResult(), "3");
    EXPECT_TRUE(log.has({"Push Updates are off"}));
    words->at(1).set_value("");
}

// Otherwise the two would ask each other for ever.
TEST_F(Fetch, ForAStreamThatEndsAfterAChangeOpensNoOther) {
    const auto opened = std::make_shared<std::atomic<int>>(0);
    server.on("/sse/" + shopKey, [opened](const auto&, Server::Connection& connection) {
        ++*opened;
        connection.send("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nConnection: close\r\n\r\n"
                        "event: changed\ndata: y\n\n");
        connection.close();
    });
    serve(payload("red", "pushUpdates", "true"));
    setUp({.getConfigCloudEndpoint = server.url("/cdn"), .pushNotificationEndpoint = server.url("/sse")});
    EXPECT_EQ(nextResult(), "3");
    EXPECT_EQ(nextResult(), "3") << "for the change";
    EXPECT_EQ(*opened, 1);
    EXPECT_TRUE(eventually([&] {
        KIVCore::fetch();
        EXPECT_EQ(nextResult(), "3");
        return *opened >= 2;
    })) << "an ordinary fetch opens the stream anew";
}

TEST_F(Fetch, ListensToThePushStreamForAStoredDocumentToo) {
    serve(payload("red", "pushUpdates", "true"));
    KIVClientConfigurationLoadingDataManager(KIVDataPersistency(), nullptr, std::nullopt, shopKey)
        .setProductionConfiguration(std::make_shared<const kiv::json::value>(
            *kiv::parseJson(signer.sign(payload("green", "pushUpdates", "true"), early))));
    answerCdn(Server::reset());
    setUp({.getConfigCloudEndpoint = server.url("/cdn"), .pushNotificationEndpoint = server.url("/sse")});
    EXPECT_EQ(nextResult(), "2");
    EXPECT_TRUE(eventually([&] {
        const auto requests = server.requests();
        return std::ranges::any_of(requests,
                                   [](const auto& each) { return each.target.starts_with("/sse/"); });
    }));
}

TEST_F(Fetch, OfABurstOfChangesIsOneOfAFew) {
    const auto words = std::make_shared<std::array<std::promise<std::string>, 2>>();
    server.on("/sse/" + shopKey, [words](const auto&, Server::Connection& connection) {
        connection.send("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n:\n\n");
        for (auto& word : *words) {
            connection.send(word.get_future().get());
        }
    });
    serve(payload("red", "pushUpdates", "true"));
    setUp({.getConfigCloudEndpoint = server.url("/cdn"), .pushNotificationEndpoint = server.url("/sse")});
    EXPECT_EQ(nextResult(), "3");
    ASSERT_TRUE(server.waitForRequests(2));

    serve(payload("green", "pushUpdates", "true"));
    const std::string change = "event: changed\ndata: y\n\n";
    std::string burst;
    for (int i = 0; i < 10'000; ++i) {
        burst += change;
    }
    const auto start = std::chrono::steady_clock::now();
    words->at(0).set_value(burst);
    EXPECT_TRUE(eventually([&] { return flags->color.value() == "green"; }));
    serve(payload("blue", "pushUpdates", "true"));
    words->at(1).set_value(change);
    EXPECT_TRUE(eventually([&] { return flags->color.value() == "blue"; })) << "the last change counts";
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    EXPECT_LE(static_cast<double>(server.requests().size()), 5 + 10 * passed.count());
}

TEST_F(Fetch, OfALaterDateIsNotUndoneByAnEarlierOne) {
    serve(payload("red"));
    setUp();
    EXPECT_EQ(nextResult(), "3");
    const auto calls = std::make_shared<std::atomic<int>>(0);
    const auto gate = std::make_shared<std::promise<void>>();
    answerCdn(
        [calls, gate, older = signer.sign(payload("red"), early),
         newer = signer.sign(payload("green"), late)](const auto& request, Server::Connection& connection) {
            const bool isFirst = (*calls)++ == 0;
            if (isFirst) {
                gate->get_future().wait();
            }
            Server::answer(200, isFirst ? older : newer)(request, connection);
        });
    KIVCore::fetch();
    ASSERT_TRUE(eventually([&] { return *calls == 1; }));
    KIVCore::fetch();
    EXPECT_EQ(nextResult(), "3");
    EXPECT_EQ(flags->color.value(), "green");
    gate->set_value();
    EXPECT_EQ(nextResult(), "3") << "the handler hears of each fetch";
    EXPECT_FALSE(last.hasChanges);
    EXPECT_EQ(flags->color.value(), "green");
    EXPECT_EQ(stored(), "green");
}

TEST_F(Fetch, IsInertAfterShutdown) {
    answerCdn(Server::stall());
    setUp({.getConfigCloudEndpoint = server.url("/cdn"), .sendStateApiEndpoint = server.url("/state")});
    ASSERT_TRUE(server.waitForRequests(2));
    const auto start = std::chrono::steady_clock::now();
    KIVCore::shutdown();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    KIVCore::fetch();
    KIVCore::setCustomBooleanProperty(true, "late");
    KIVCore::register_("late", std::make_shared<ShopFlags>());
    ManualClock::install().advance(100);
    EXPECT_TRUE(heard->isEmpty());
    EXPECT_EQ(server.requests().size(), 2U);
}

} // namespace
