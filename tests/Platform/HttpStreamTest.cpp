#include <atomic>
#include <future>
#include <string>

#include <gtest/gtest.h>

#include "Platform/Http/HttpClient.h"
#include "Support/Journal.h"
#include "Support/LoopbackServer.h"

namespace {

/// Handlers that note what the stream tells.
kiv::HttpStreamHandlers notesIn(Journal& told) {
    return {.responded = [&told](int status) { told.note(std::to_string(status)); },
            .received = [&told](std::string_view bytes) { told.note(std::string(bytes)); },
            .completed =
                [&told](const auto& error) { told.note("end " + std::to_string(error ? error->code : 0)); }};
}

TEST(HttpStream, TellsWhatComesAsItComes) {
    Journal told;
    Journal broken;
    Journal refused;
    LoopbackServer server;
    server.on("/start", LoopbackServer::redirect(302, "/stream"));
    server.on("/stream", [&](const auto&, LoopbackServer::Connection& connection) {
        connection.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
        EXPECT_EQ(told.waitFor("200"), "200") << "the status comes before the first byte";
        connection.send("3\r\none\r\n");
        EXPECT_EQ(told.waitFor("one"), "200, one");
        connection.send("3\r\ntwo\r\n");
        EXPECT_EQ(told.waitFor("two"), "200, one, two");
        connection.send("0\r\n\r\n");
    });
    kiv::openHttpStream({.url = server.url("/start"), .idleTimeout = 0}, notesIn(told));
    EXPECT_EQ(told.waitFor("end 0"), "200, one, two, end 0");
    EXPECT_FALSE(server.requests()[0].headers.contains("accept-encoding"));

    server.on("/broken",
              LoopbackServer::raw("HTTP/1.1 500 No\r\nTransfer-Encoding: chunked\r\n\r\n3\r\none\r\n2\r\n"));
    kiv::openHttpStream({.url = server.url("/broken"), .idleTimeout = 0}, notesIn(broken));
    EXPECT_EQ(broken.waitFor("end -1005"), "500, one, end -1005");

    kiv::openHttpStream({.url = "ftp://127.0.0.1/"}, notesIn(refused));
    EXPECT_EQ(refused.waitFor("end -1002"), "end -1002");
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
    Journal told;
    LoopbackServer server;
    server.on("/", LoopbackServer::flood("HTTP/1.1 200 OK\r\n\r\n", std::string(1U << 20, 'x'), 100U << 20));
    std::promise<std::shared_ptr<kiv::HttpTask>> task;
    auto handlers = notesIn(told);
    handlers.received = [&, future = task.get_future().share()](std::string_view) {
        told.note("bytes");
        future.get()->cancel();
    };
    task.set_value(kiv::openHttpStream({.url = server.url()}, handlers));
    EXPECT_EQ(told.waitFor("end -999"), "200, bytes, end -999");
}

} // namespace
