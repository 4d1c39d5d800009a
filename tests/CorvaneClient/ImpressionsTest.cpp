#include <filesystem>
#include <set>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Analytics/KIVSEGAES256Crypto.h"
#include "Analytics/KIVSEGFileStorage.h"
#include "CorvaneClient/Shop.h"
#include "Platform/System/Clock.h"
#include "Platform/System/Files.h"
#include "Platform/Threads/Queues.h"
#include "Support/CapturedLog.h"
#include "Support/LoopbackServer.h"
#include "Support/Signing.h"

namespace {

/// An application with a shipped document, and a server for its impressions.
class Impressions : public ::testing::Test {
protected:
    Impressions() {
        server.on("/impression/" + shopKey, LoopbackServer::answer(200, ""));
        KIVCore::register_("shop", flags);
        KIVCore::setCustomStringProperty("loyal", "customer");
    }
    ~Impressions() override { KIVCore::shutdown(); }

    void setUp(const std::string& analytics) {
        const std::string path = *KIVHost::current()->libraryDirectory + "/shipped.json";
        const Signer signer = makeSigner();
        kiv::writeFile(path, signer.sign(payloadOf(
                                 {experiment("shop.color", "red", {{"stickinessProperty", "customer"}}),
                                  experiment("kiv.internal.analytics", analytics)})));
        KIVCore::setupWithKey(shopKey, {.customSigningCertificate = signer.certificateBase64,
                                        .defaultConfigurationPath = path,
                                        .networkConfigurations = KIVNetworkConfigurationsOptions{
                                            .analyticsEndpoint = server.url("")}});
    }

    static std::string queueFile() {
        return *KIVHost::current()->libraryDirectory + "/Application Support/" + shopKey +
               "/kiv.segmentio.queue.plist";
    }

    CapturedLog log;
    LoopbackServer server;
    std::shared_ptr<ShopFlags> flags = std::make_shared<ShopFlags>();
};

TEST_F(Impressions, ArriveWhenTheDocumentAsksForThem) {
    setUp("true");
    EXPECT_EQ(flags->color.getStringValue(), "red");
    EXPECT_TRUE(flags->open.isEnabled());
    KIVCore::shutdown();
    ASSERT_TRUE(server.waitForRequests(1));
    const auto request = server.requests().front();
    EXPECT_EQ(request.method + " " + request.target, "POST /impression/" + shopKey);
    auto body = kiv::parseJson(request.body)->get_object();
    const auto seconds = [](const kiv::json::value& time) { return time.to_number<double>(); };
    auto& events = body.at("events").get_array();
    ASSERT_EQ(events.size(), 2U);
    EXPECT_NEAR(seconds(events[0].at("time")), seconds(body.at("time")) / 1000, 60)
        << "seconds, milliseconds";
    for (auto& event : events) {
        event.get_object().erase("time");
    }
    EXPECT_EQ(
        events[0],
        (kiv::json::object{
            {"distinctId", "loyal"}, {"flag", "shop.color"}, {"type", "IMPRESSION"}, {"value", "red"}}));
    EXPECT_EQ(events[1].at("flag"), "shop.open");
    EXPECT_EQ(events[1].as_object().size(), 4U);
}

TEST_F(Impressions, OfAParentAndOfAChildThatResumesAreSentOnce) {
    setUp("true");
    const auto readAs = [&](const std::string& customer) {
        KIVCore::setCustomStringProperty(customer, "customer");
        EXPECT_EQ(flags->color.getStringValue(), "red");
    };
    readAs("parent");
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        readAs("silent");
        KIVCore::resumeAfterFork();
        readAs("child");
        readAs("child again");
        KIVCore::shutdown();
        _exit(HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    readAs("parent again");
    KIVCore::shutdown();
    std::multiset<std::string> customers;
    EXPECT_TRUE(server.waitForRequests(2));
    for (const auto& request : server.requests()) {
        const auto body = kiv::parseJson(request.body);
        for (const auto& event : body->at("events").as_array()) {
            customers.emplace(event.at("distinctId").as_string());
        }
    }
    EXPECT_EQ(customers, (std::multiset<std::string>{"child", "child again", "parent", "parent again"}));
}

TEST_F(Impressions, StayAtHomeOtherwise) {
    setUp("false");
    EXPECT_EQ(flags->color.getStringValue(), "red");
    KIVCore::shutdown();
    kiv::Timer::timePassed();
    EXPECT_FALSE(std::filesystem::exists(queueFile()));
}

TEST_F(Impressions, AreOnDiskAfterAShutdownThatTheServerHoldsUp) {
    server.on("/impression/" + shopKey, LoopbackServer::stall());
    KIVHost host = *KIVHost::current();
    host.analyticsEncryption = {.password = "secret", .salt = "salt", .iv = "short"};
    EXPECT_THROW(KIVHost::configure(host), std::invalid_argument);
    host.analyticsEncryption->iv = "sixteen bytes iv";
    KIVHost::configure(host);
    setUp("true");
    EXPECT_EQ(flags->color.getStringValue(), "red");
    KIVCore::shutdown();
    kiv::Timer::timePassed();
    const auto bytes = kiv::readFile(queueFile());
    ASSERT_TRUE(bytes);
    EXPECT_EQ(bytes->find("shop.color"), std::string::npos) << "encrypted";
    const KIVSEGFileStorage storage(
        std::filesystem::path(queueFile()).parent_path().string(),
        std::make_shared<KIVSEGAES256Crypto>("secret", "salt", "sixteen bytes iv"));
    const auto events = storage.arrayForKey("kiv.segmentio.queue.plist");
    ASSERT_TRUE(events.is_array());
    EXPECT_EQ(events.at(0).at("properties").at("flag"), "shop.color");
}

} // namespace
