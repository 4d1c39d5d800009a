#include <future>

#include <gtest/gtest.h>

#include "Core/KIVCoreInstance.h"
#include "CorvaneClient/KIVClient.h"
#include "CorvaneClient/KIVStateSender.h"
#include "CorvaneClient/Shop.h"
#include "Platform/Host/UserDefaults.h"
#include "Support/CapturedLog.h"
#include "Support/LoopbackServer.h"
#include "Support/ManualClock.h"
#include "Support/Threads.h"

namespace {

/// An application, and a server that answers 404 for every state until a test says otherwise.
class State : public ::testing::Test {
protected:
    ~State() override { KIVCore::shutdown(); }

    void setUp() {
        KIVCore::setupWithKey(shopKey, {.verbose = 1,
                                        .networkConfigurations = KIVNetworkConfigurationsOptions{
                                            .sendStateApiEndpoint = server.url("/api"),
                                            .sendStateCloudEndpoint = server.url("/cdn")}});
    }

    /// Waits for `count` requests in all, and returns method and path of each.
    std::vector<std::string> requests(std::size_t count) {
        EXPECT_TRUE(server.waitForRequests(count));
        std::vector<std::string> lines;
        for (const auto& request : server.requests()) {
            lines.push_back(request.method + " " + request.target);
        }
        return lines;
    }

    std::string hash() const { return KIVCoreInstance::getInstance().deviceProperties()->stateMd5(); }

    CapturedLog log;
    LoopbackServer server;
};

TEST_F(State, IsPostedWhenTheCdnDoesNotKnowIt) {
    KIVCore::register_("shop", std::make_shared<ShopFlags>());
    KIVCore::setCustomDateTimeProperty(KIVDate(), "since");
    KIVCore::setCustomStringProperty("x", "text");
    setUp();
    EXPECT_EQ(requests(2), (std::vector<std::string>{"GET /cdn/" + shopKey + "/" + hash(),
                                                     "POST /api/" + shopKey + "/" + hash()}));
    const auto body = kiv::parseJson(server.requests()[1].body);
    ASSERT_TRUE(body && body->is_object());
    std::string members;
    for (const auto& pair : body->get_object()) {
        members.append(pair.key()).append(" ");
    }
    EXPECT_EQ(members, "stateMd5 app_key feature_flags custom_properties platform ");
    const std::string text = kiv::compactJson(*body);
    EXPECT_NE(text.find(R"([{"name":"shop.color","defaultValue":"blue","options":["blue","red"]},)"
                        R"({"name":"shop.open","defaultValue":"true","options":["true","false"]}])"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(R"("name":"text")"), std::string::npos);
    EXPECT_EQ(text.find(R"("name":"since")"), std::string::npos) << "dates are for keys of the other form";

    // A state is not posted when the CDN knows it, nor when the CDN answers with an error.
    const auto container = std::make_shared<ShopFlags>();
    const std::string before = hash();
    server.on("/api/" + shopKey + "/" + before, LoopbackServer::answer(200, "{}"));
    server.on("/cdn/" + shopKey + "/" + before, LoopbackServer::answer(200, "{}"));
    KIVCoreInstance::getInstance().client()->sendState();
    EXPECT_EQ(requests(3)[2], "GET /cdn/" + shopKey + "/" + before);
    server.on("/cdn/" + shopKey + "/" + before, LoopbackServer::answer(500, ""));
    KIVCoreInstance::getInstance().client()->sendState();
    EXPECT_EQ(requests(4)[3], "GET /cdn/" + shopKey + "/" + before);

    KIVCore::register_("more", container);
    EXPECT_NE(hash(), before);
    EXPECT_EQ(requests(6)[4], "GET /cdn/" + shopKey + "/" + hash());
    EXPECT_EQ(requests(6)[5], "POST /api/" + shopKey + "/" + hash());
}

TEST_F(State, OfManyPropertiesIsSentOnce) {
    ManualClock& clock = ManualClock::install();
    setUp();
    requests(2);
    for (int i = 0; i < 10; ++i) {
        KIVCore::setCustomBooleanProperty(true, "p" + std::to_string(i));
        clock.advance(0.1);
    }
    clock.advance(1.5);
    EXPECT_EQ(server.requests().size(), 2U) << "three seconds have not passed";
    EXPECT_TRUE(
        log.has({"DEBOUNCE_DEBUG: KIVClient.debounceSendState - Skipping duplicate state send request"}));
    clock.advance(1);
    EXPECT_EQ(requests(4)[2], "GET /cdn/" + shopKey + "/" + hash());
    clock.advance(100);
    EXPECT_EQ(server.requests().size(), 4U);
}

TEST_F(State, IsSentWhilePropertiesKeepComing) {
    KIV_SetStateDebounceTime = 0.05F;
    setUp();
    requests(2);
    const auto end = std::chrono::steady_clock::now() + patience;
    for (int i = 0; server.requests().size() < 4 && std::chrono::steady_clock::now() < end; ++i) {
        KIVCore::setCustomIntProperty(i, "p" + std::to_string(i % 100));
    }
    EXPECT_GE(server.requests().size(), 4U);
    KIV_SetStateDebounceTime = 3.0F;
}

TEST_F(State, HasOneSendUnderWayAndThenTheNewest) {
    setUp();
    requests(2);
    const auto gate = std::make_shared<std::promise<void>>();
    const auto open = gate->get_future().share();
    server.on("", [open](const auto& request, LoopbackServer::Connection& connection) {
        open.wait();
        LoopbackServer::answer(200, "{}")(request, connection);
    });
    for (int i = 0; i < 100; ++i) {
        KIVCore::register_("shop" + std::to_string(i), std::make_shared<ShopFlags>());
    }
    requests(3);
    gate->set_value();
    EXPECT_TRUE(eventually([&] { return server.requests().back().target.ends_with(hash()); }));
    EXPECT_LE(server.requests().size(), 4U) << "not one for each registration";
}

TEST_F(State, IsToldForTheKeyThatIsCurrentForTheInstallation) {
    const std::string other = "5e0bd1f2c3a4b5d6e7f80913";
    setUp();
    requests(2);
    KIVCore::switchToSDKKey(other);
    KIVCoreInstance::getInstance().client()->sendState();
    const auto lines = requests(4);
    EXPECT_TRUE(lines[2].starts_with("GET /cdn/" + other + "/")) << lines[2];
    EXPECT_TRUE(lines[3].starts_with("POST /api/" + other + "/")) << lines[3];
}

} // namespace
