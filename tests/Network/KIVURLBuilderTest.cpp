#include <chrono>
#include <limits>
#include <thread>

#include <gtest/gtest.h>

#include "Network/KIVNetwork.h"
#include "Network/KIVNetworkUtils.h"
#include "Network/KIVURLBuilder.h"
#include "Support/CapturedLog.h"
#include "Support/LoopbackServer.h"

namespace {

using Object = kiv::json::object;

KIVURLBuilder builderFor(KIVNetworkConfigurationsOptions endpoints) {
    return KIVURLBuilder(std::make_shared<const KIVEnvironment>(std::move(endpoints)));
}

TEST(Requests, CarryParametersAfterTheQueryThatIsThere) {
    const Object none;
    const Object two{{"a b", "ä&="}, {"c", "~"}};
    EXPECT_EQ(KIVNetworkUtils::generateUrlWithParams("http://h/p?x#f", none), "http://h/p?x#f");
    EXPECT_EQ(KIVNetworkUtils::generateUrlWithParams("http://h/p", two), "http://h/p?a%20b=%C3%A4%26%3D&c=~");
    EXPECT_EQ(KIVNetworkUtils::generateUrlWithParams("http://h/p?x=1#f", two),
              "http://h/p?x=1&a%20b=%C3%A4%26%3D&c=~#f");
    EXPECT_EQ(KIVNetworkUtils::generateUrlWithParams("http://h/p?", two),
              "http://h/p?a%20b=%C3%A4%26%3D&c=~");

    const std::string first = KIVNetworkUtils::urlStringByAppendingAntiCacheParameter("http://h/p");
    EXPECT_TRUE(first.starts_with("http://h/p?canticache=")) << first;
    EXPECT_TRUE(KIVNetworkUtils::urlStringByAppendingAntiCacheParameter("http://h/p?x")
                    .starts_with("http://h/p?x&canticache="));
    EXPECT_NE(first, KIVNetworkUtils::urlStringByAppendingAntiCacheParameter("http://h/p"));
}

TEST(Requests, AreNoneWithoutAnEndpointAndEndAtTheFirstMissingProperty) {
    const Object properties{
        {"app_key", "k"},    {"stateMd5", "m"},      {"custom_properties", kiv::json::array()},
        {"platform", "iOS"}, {"devModeSecret", "s"}, {"buid", "b"}};
    const KIVURLBuilder nowhere = builderFor({});
    EXPECT_FALSE(nowhere.createNetworkCacheURL(properties));
    EXPECT_FALSE(nowhere.createRequestConfigurationURL(properties));
    EXPECT_FALSE(nowhere.createNetworkStateCacheURL(properties));
    EXPECT_FALSE(nowhere.createNetworkStateApiURL(properties));

    const KIVURLBuilder builder = builderFor({.getConfigApiEndpoint = "http://api//",
                                              .getConfigCloudEndpoint = "http://cdn",
                                              .sendStateApiEndpoint = "http://state/",
                                              .sendStateCloudEndpoint = "http://states"});
    EXPECT_EQ(builder.createNetworkCacheURL(properties)->url, "http://cdn/(null)");
    EXPECT_EQ(builder.createNetworkCacheURL(properties)->parameters->size(), 2U)
        << "what is known, and no more";
    EXPECT_EQ(builder.createRequestConfigurationURL(properties)->url, "http://api//k/b");
    EXPECT_EQ(builder.createNetworkStateCacheURL(properties)->url, "http://states/k/m");
    EXPECT_FALSE(builder.createNetworkStateCacheURL(properties)->parameters);
    const auto state = builder.createNetworkStateApiURL(properties);
    EXPECT_EQ(state->url, "http://state/k/m");
    EXPECT_EQ(kiv::compactJson(*state->parameters), R"({"stateMd5":"m","app_key":"k"})")
        << "there are no flags, and nothing after them";
}

TEST(Requests, ThatCannotBeWrittenEndWithoutAnAnswer) {
    const CapturedLog log;
    LoopbackServer server;
    const auto network = std::make_shared<const KIVNetwork>(std::make_shared<const KIVClientOptions>(),
                                                            std::make_shared<const KIVURLSession>());
    const auto post = [&](Object body) {
        network->getJsonFromURL(
            {server.url("/post"), "POST", std::move(body)}, 0,
            [](const auto&, KIVNetworkError) { ADD_FAILURE() << "answered"; }, false, false);
    };
    post({{"list", {1, {{"deep", std::numeric_limits<double>::infinity()}}}}});
    EXPECT_TRUE(log.has({"Error processing request parameters"}));
    EXPECT_TRUE(log.has({"Could not process post request body for request"}));

    KIVNetworkUtils::sendSimpleAsyncGetRequestToURL(server.url("/simple"));
    ASSERT_TRUE(server.waitForRequests(1));
    EXPECT_EQ(server.requests()[0].method, "GET");
    EXPECT_EQ(server.requests()[0].target, "/simple");
}

} // namespace
