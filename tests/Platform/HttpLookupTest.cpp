#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include "Platform/Http/HttpClient.h"
#include "Support/Host.h"
#include "Support/Inbox.h"
#include "Support/LoopbackServer.h"
#include "Support/Threads.h"

namespace {

/// The name server of the tests. It does not answer for names that end in ".mute.test" until it is told to;
/// then each is 127.0.0.1.
struct NameServer {
    std::mutex lock;
    std::condition_variable changed;
    std::vector<std::string> asked;
    bool answers = false;

    static NameServer& shared() {
        static NameServer& server = *new NameServer;
        return server;
    }
    std::size_t count() {
        const std::lock_guard guard(lock);
        return asked.size();
    }
    void answerNow() {
        const std::lock_guard guard(lock);
        answers = true;
        changed.notify_all();
    }
};

} // namespace

// Stands before the one of the C library, for libcurl too.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result) {
    static const auto real = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    const std::string host = name ? name : "";
    if (!host.ends_with(".mute.test")) {
        return real(name, service, hints, result);
    }
    NameServer& server = NameServer::shared();
    std::unique_lock guard(server.lock);
    server.asked.push_back(host);
    server.changed.wait(guard, [&] { return server.answers; });
    return real("127.0.0.1", service, hints, result);
}

namespace {

using kiv::HttpRequest;
using kiv::HttpResponse;
using kiv::TransportError;

std::string urlOf(const std::string& host, const LoopbackServer& server, const std::string& target = "/") {
    return "http://" + host + ".mute.test:" + std::to_string(server.port()) + target;
}

class HttpLookup : public ::testing::Test {
protected:
    void SetUp() override { server_.on("/", LoopbackServer::answer(200, "text")); }
    void TearDown() override { NameServer::shared().answerNow(); }

    std::shared_ptr<kiv::HttpTask> send(HttpRequest request) {
        return kiv::sendHttpRequest(std::move(request),
                                    [this](HttpResponse response) { inbox_.put(std::move(response)); });
    }
    /// The next answer: its error's code, or its status when there is none.
    long next() {
        const auto response = inbox_.next();
        return !response ? 0 : response->error ? response->error->code : response->status;
    }
    /// Leaves as many look-ups hanging as there may be. Their requests have ended.
    void hangLookups() {
        send({.url = urlOf("first", server_), .totalTimeout = 0.05});
        send({.url = urlOf("second", server_), .totalTimeout = 0.05});
        ASSERT_EQ(next(), TransportError::timedOut);
        ASSERT_EQ(next(), TransportError::timedOut);
        ASSERT_TRUE(eventually([] { return NameServer::shared().count() == 2; }));
    }

    /// The threads of the process without those of the server's connections.
    std::ptrdiff_t threadCount() const {
        return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}) -
               server_.connections();
    }

    LoopbackServer server_;
    Inbox<HttpResponse> inbox_;
};

TEST_F(HttpLookup, LeavesTwoThreadsBehindHoweverManyRequestsHang) {
    send({.url = server_.url()});
    ASSERT_EQ(next(), 200);
    const std::ptrdiff_t before = threadCount();
    constexpr int count = 300;
    for (int number = 0; number < count; ++number) {
        const std::string host = "host-" + std::to_string(number % 20);
        if (number % 3 == 0) {
            send({.url = urlOf(host, server_), .idleTimeout = 0})->cancel();
        } else if (number % 3 == 1) {
            send({.url = urlOf(host, server_), .idleTimeout = 0.05});
        } else {
            send({.url = urlOf(host, server_), .idleTimeout = 0, .totalTimeout = 0.1});
        }
    }
    for (int number = 0; number < count; ++number) {
        const long result = next();
        ASSERT_TRUE(result == TransportError::timedOut || result == TransportError::cancelled) << result;
    }
    EXPECT_EQ(threadCount(), before + 2);
    EXPECT_EQ(NameServer::shared().count(), 2U);

    // A request that waits for one of them gets its answer when it has ended.
    send({.url = urlOf("later", server_), .idleTimeout = 0});
    NameServer::shared().answerNow();
    EXPECT_EQ(next(), 200);
    EXPECT_TRUE(eventually([&] { return threadCount() <= before; }));
}

TEST_F(HttpLookup, MakesNobodyWaitWhoNeedsNone) {
    server_.on("/away", LoopbackServer::redirect(302, server_.url()));
    const std::string port = ":" + std::to_string(server_.port());
    hangLookups();
    for (const std::string& url : {server_.url(), "http://localhost" + port, server_.url("/away")}) {
        send({.url = url, .idleTimeout = 30});
        EXPECT_EQ(next(), 200) << url;
    }
    // Behind a proxy, nobody looks up the name of the host.
    for (const bool ofHost : {true, false}) {
        server_.on("", LoopbackServer::answer(200, "through the proxy"));
        configureHost([&](KIVHost& host) {
            host.proxy = ofHost ? std::optional("http://127.0.0.1" + port) : std::nullopt;
        });
        setenv("http_proxy", ("localhost" + port).c_str(), 1);
        send({.url = "http://other.mute.test/", .idleTimeout = 30});
        EXPECT_EQ(next(), 200) << ofHost;
    }
}

TEST_F(HttpLookup, KeepsTheLimitsOfARequestThatWaitsAfterARedirect) {
    server_.on("/away", LoopbackServer::redirect(307, urlOf("third", server_)));
    hangLookups();
    send({.method = "POST", .url = server_.url("/away"), .body = "sent", .totalTimeout = 0.1});
    EXPECT_EQ(next(), TransportError::timedOut);
    send({.method = "POST", .url = server_.url("/away"), .body = "sent", .idleTimeout = 0})->cancel();
    EXPECT_EQ(next(), TransportError::cancelled);
}

TEST_F(HttpLookup, GoesOnAfterARedirectWithoutSendingTheRequestAgain) {
    const struct {
        int status;
        const char* method;
        const char* body;
    } cases[] = {{307, "POST", "sent"}, {303, "GET", ""}};
    for (const auto& each : cases) {
        server_.on("/away" + std::to_string(each.status),
                   LoopbackServer::redirect(each.status, urlOf("third", server_)));
    }
    hangLookups();
    for (const auto& each : cases) {
        send({.method = "POST",
              .url = server_.url("/away" + std::to_string(each.status)),
              .headers = {{"Authorization", "secret"}, {"Field", "value"}},
              .body = "sent",
              .idleTimeout = 0});
    }
    ASSERT_TRUE(server_.waitForRequests(2));
    NameServer::shared().answerNow();
    EXPECT_EQ(next(), 200);
    EXPECT_EQ(next(), 200);
    auto requests = server_.requests();
    ASSERT_EQ(requests.size(), 4U);
    if (requests[2].method != cases[0].method) {
        std::swap(requests[2], requests[3]);
    }
    for (std::size_t number = 0; number < 2; ++number) {
        EXPECT_EQ(requests[number + 2].method, cases[number].method);
        EXPECT_EQ(requests[number + 2].body, cases[number].body);
        EXPECT_EQ(requests[number + 2].headers.count("authorization"), 0U);
        EXPECT_EQ(requests[number + 2].headers["field"], "value");
    }
}

TEST_F(HttpLookup, SharesTheLookupOfAHost) {
    for (int number = 0; number < 20; ++number) {
        send({.url = urlOf("one", server_), .idleTimeout = 0});
    }
    ASSERT_TRUE(eventually([] { return NameServer::shared().count() == 1; }));
    NameServer::shared().answerNow();
    for (int number = 0; number < 20; ++number) {
        EXPECT_EQ(next(), 200);
    }
    EXPECT_EQ(NameServer::shared().count(), 1U);
}

} // namespace
