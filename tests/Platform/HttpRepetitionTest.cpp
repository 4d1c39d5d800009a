#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Platform/Http/HttpClient.h"
#include "Support/LoopbackServer.h"
#include "Support/Patience.h"

namespace {

using namespace std::chrono_literals;
using Server = LoopbackServer;
using Request = Server::Request;
using Connection = Server::Connection;

std::future<kiv::HttpResponse> begin(kiv::HttpRequest request) {
    const auto promise = std::make_shared<std::promise<kiv::HttpResponse>>();
    kiv::sendHttpRequest(std::move(request), [promise](auto response) { promise->set_value(response); });
    return promise->get_future();
}

kiv::HttpResponse fetch(kiv::HttpRequest request) {
    auto response = begin(std::move(request));
    return response.wait_for(patience) == std::future_status::ready ? response.get() : kiv::HttpResponse();
}

/// Each connection that the client has kept is one more try for a request that it would repeat.
TEST(HttpRepetition, IsForGetsAndNotForPosts) {
    const Server::Behaviour ends[] = {Server::reset(),
                                      [](const Request&, Connection& connection) { connection.close(); }};
    for (const auto& end : ends) {
        LoopbackServer server;
        std::atomic<int> waiting = 3;
        server.on("/keep", [&](const Request& request, Connection& connection) {
            for (--waiting; waiting > 0 && connection.wait(1ms);) { // until each GET has its connection
            }
            Server::answer(200, "")(request, connection);
        });
        std::vector<std::future<kiv::HttpResponse>> kept;
        for (int i = 0; i < 3; ++i) {
            kept.push_back(begin({.url = server.url("/keep")}));
        }
        for (auto& each : kept) {
            EXPECT_FALSE(each.get().error);
        }
        server.on("/lost", end);
        const auto response = fetch({.method = "POST", .url = server.url("/lost"), .body = "b"});
        ASSERT_TRUE(response.error);
        EXPECT_EQ(response.error->code, kiv::TransportError::connectionLost);
        EXPECT_EQ(server.requests().size(), 4U);

        server.on("/once", [&, end](const Request& request, Connection& connection) {
            server.on("/once", Server::answer(200, "twice"));
            end(request, connection);
        });
        EXPECT_EQ(fetch({.url = server.url("/once")}).body, "twice");
    }
}

} // namespace
