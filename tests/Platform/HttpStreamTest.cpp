#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Platform/HttpClient.h"
#include "Support/LoopbackServer.h"

namespace {

using namespace std::chrono_literals;
using Request = LoopbackServer::Request;
using Connection = LoopbackServer::Connection;

/// What a stream has told, in order.
struct Told {
    std::mutex lock;
    std::condition_variable changed;
    std::vector<std::string> events;

    void add(const std::string& event) {
        const std::lock_guard guard(lock);
        events.push_back(event);
        changed.notify_all();
    }
    bool waitFor(std::size_t count) {
        std::unique_lock guard(lock);
        return changed.wait_for(guard, 20s, [&] { return events.size() >= count; });
    }
    kiv::HttpStreamHandlers handlers() {
        return {.responded = [this](int status) { add(std::to_string(status)); },
                .received = [this](std::string_view bytes) { add(std::string(bytes)); },
                .completed =
                    [this](const auto& error) { add("end " + std::to_string(error ? error->code : 0)); }};
    }
};

TEST(HttpStream, TellsWhatComesAsItComes) {
    LoopbackServer server;
    Told told;
    server.on("/start", LoopbackServer::redirect(302, "/stream"));
    server.on("/stream", [&](const Request&, Connection& connection) {
        connection.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
        EXPECT_TRUE(told.waitFor(1)) << "the status comes before the first byte";
        connection.send("3\r\none\r\n");
        EXPECT_TRUE(told.waitFor(2));
        connection.send("3\r\ntwo\r\n");
        EXPECT_TRUE(told.waitFor(3));
        connection.send("0\r\n\r\n");
    });
    kiv::openHttpStream({.url = server.url("/start"), .idleTimeout = 0}, told.handlers());
    EXPECT_TRUE(told.waitFor(4));
    EXPECT_EQ(told.events, (std::vector<std::string>{"200", "one", "two", "end 0"}));
    EXPECT_FALSE(server.requests()[0].headers.contains("accept-encoding"));

    Told broken;
    server.on("/broken",
              LoopbackServer::raw("HTTP/1.1 500 No\r\nTransfer-Encoding: chunked\r\n\r\n3\r\none\r\n2\r\n"));
    kiv::openHttpStream({.url = server.url("/broken"), .idleTimeout = 0}, broken.handlers());
    EXPECT_TRUE(broken.waitFor(3));
    EXPECT_EQ(broken.events, (std::vector<std::string>{"500", "one", "end -1005"}));

    Told refused;
    kiv::openHttpStream({.url = "ftp://127.0.0.1/"}, refused.handlers());
    EXPECT_TRUE(refused.waitFor(1));
    EXPECT_EQ(refused.events, std::vector<std::string>{"end -1002"});
}

TEST(HttpStream, HasNoLimitOfSize) {
    LoopbackServer server;
    server.on("/", LoopbackServer::flood("HTTP/1.1 200 OK\r\n\r\n", std::string(1U << 20, 'x'), 70U << 20));
    std::atomic<std::size_t> received = 0;
    std::promise<long> ended;
    kiv::openHttpStream({.url = server.url()},
                        {.received = [&](std::string_view bytes) { received += bytes.size(); },
                         .completed = [&](const auto& error) { ended.set_value(error ? error->code : 0); }});
    EXPECT_EQ(ended.get_future().get(), 0);
    EXPECT_EQ(received, 70U << 20);
}

TEST(HttpStream, IsCancelledByItsOwnHandler) {
    LoopbackServer server;
    server.on("/", LoopbackServer::flood("HTTP/1.1 200 OK\r\n\r\n", std::string(1U << 20, 'x'), 100U << 20));
    Told told;
    std::promise<std::shared_ptr<kiv::HttpTask>> task;
    auto handlers = told.handlers();
    handlers.received = [&, future = task.get_future().share()](std::string_view) {
        told.add("bytes");
        future.get()->cancel();
    };
    task.set_value(kiv::openHttpStream({.url = server.url()}, handlers));
    EXPECT_TRUE(told.waitFor(3));
    EXPECT_EQ(told.events, (std::vector<std::string>{"200", "bytes", "end -999"}));
}

} // namespace
