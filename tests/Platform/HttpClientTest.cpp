#include "Platform/Http/HttpClient.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>

#include <gtest/gtest.h>

#include "Support/Host.h"
#include "Support/LoopbackServer.h"
#include "Support/ManualClock.h"
#include "Support/Shell.h"
#include "Support/Threads.h"

namespace {

using namespace std::chrono_literals;
using kiv::HttpRequest;
using kiv::HttpResponse;
using kiv::TransportError;
using Server = LoopbackServer;
using Request = Server::Request;
using Connection = Server::Connection;
using Headers = std::vector<std::pair<std::string, std::string>>;

/// Sends a request, waits for its answer, and counts the answers.
class Answer {
public:
    explicit Answer(HttpRequest request)
        : task_(kiv::sendHttpRequest(std::move(request), [kept = kept_](HttpResponse response) {
              if (++kept->calls == 1) {
                  kept->promise.set_value(std::move(response));
              }
          })) {}

    HttpResponse response() {
        auto future = kept_->promise.get_future();
        if (future.wait_for(30s) != std::future_status::ready) {
            ADD_FAILURE() << "no answer";
            return {};
        }
        return future.get();
    }
    void cancel() { task_->cancel(); }
    int calls() const { return kept_->calls; }

private:
    struct Kept {
        std::promise<HttpResponse> promise;
        std::atomic<int> calls = 0;
    };
    std::shared_ptr<Kept> kept_ = std::make_shared<Kept>();
    std::shared_ptr<kiv::HttpTask> task_;
};

HttpResponse fetch(HttpRequest request) { return Answer(std::move(request)).response(); }
HttpResponse get(const std::string& url) { return fetch({.url = url, .idleTimeout = 10}); }

long errorOf(const HttpResponse& response) { return response.error ? response.error->code : 0; }

std::string header(const HttpResponse& response, const std::string& name) {
    for (const auto& each : response.headers) {
        if (each.first == name) {
            return each.second;
        }
    }
    return "none";
}

void trust(const std::string& caFile) {
    configureHost([&](KIVHost& host) { host.caFile = caFile; });
}

TEST(HttpClient, TellsWhatTheServerDid) {
    LoopbackServer server;
    const std::string packed = outputOf("printf 'text that was packed' | gzip");
    const std::string mebibyte(1U << 20, 'x');
    const std::string bomb = outputOf("head -c 65M /dev/zero | gzip");
    const struct {
        std::string path;
        Server::Behaviour behaviour;
        int status;
        std::string body;
        long error;
    } cases[] = {
        {"/ok", Server::answer(200, "text"), 200, "text", 0},
        {"/forbidden", Server::answer(403, "no"), 403, "no", 0},
        {"/broken", Server::answer(500, R"({"error": 1})"), 500, R"({"error": 1})", 0},
        {"/empty", Server::answer(200, ""), 200, "", 0},
        {"/gzip", Server::answer(200, packed, {{"Content-Encoding", "gzip"}}), 200, "text that was packed",
         0},
        {"/notgzip", Server::answer(200, "text", {{"Content-Encoding", "gzip"}}), 200, "",
         TransportError::cannotDecode},
        {"/chunks",
         Server::raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nte\r\n2\r\nxt\r\n0\r\n\r\n"),
         200, "text", 0},
        {"/interim", Server::raw("HTTP/1.1 103 Early\r\nA: b\r\n\r\nHTTP/1.1 200 OK\r\n\r\ntext"), 200,
         "text", 0},
        {"/half", Server::raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf"), 200, "",
         TransportError::connectionLost},
        {"/halfchunk", Server::raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n9\r\nte"), 200, "",
         TransportError::connectionLost},
        {"/nothing", Server::raw(""), 0, "", TransportError::connectionLost},
        {"/halfhead", Server::raw("HTTP/1.1 200 OK\r\nContent-Le"), 200, "", TransportError::connectionLost},
        {"/status", Server::raw("HTTP/1.1 204 No Content\r\n"), 204, "", TransportError::connectionLost},
        {"/reset", Server::reset(), 0, "", TransportError::connectionLost},
        {"/loop", Server::redirect(302, "/loop"), 302, "", TransportError::tooManyRedirects},
        {"/file", Server::redirect(302, "file:///etc/passwd"), 302, "", TransportError::unsupportedURL},
        {"/announced",
         Server::flood("HTTP/1.1 200 OK\r\nContent-Length: 104857600\r\n\r\n", mebibyte, 100U << 20), 200, "",
         TransportError::tooLarge},
        {"/endless", Server::flood("HTTP/1.1 200 OK\r\n\r\n", mebibyte, 100U << 20), 200, "",
         TransportError::tooLarge},
        {"/bomb", Server::answer(200, bomb, {{"Content-Encoding", "gzip"}}), 200, "",
         TransportError::tooLarge},
        {"/headers", Server::flood("HTTP/1.1 200 OK\r\n", "Field: value\r\n", 4U << 20), 200, "",
         TransportError::tooLarge},
    };
    for (const auto& each : cases) {
        server.on(each.path, each.behaviour);
        const HttpResponse response = get(server.url(each.path));
        EXPECT_EQ(response.status, each.status) << each.path;
        EXPECT_EQ(response.body, each.body) << each.path;
        EXPECT_EQ(errorOf(response), each.error) << each.path;
        if (response.error) {
            EXPECT_EQ(response.error->domain, kiv::urlErrorDomain);
            EXPECT_FALSE(response.error->description.empty()) << each.path;
        }
    }
    const std::size_t most = HttpRequest().mostBodyBytes;
    server.on("/limit", Server::answer(200, std::string(most, 'x')));
    EXPECT_EQ(get(server.url("/limit")).body.size(), most);
}

TEST(HttpClient, TellsWhyThereIsNoServer) {
    std::string nobody;
    {
        const LoopbackServer gone;
        nobody = gone.url();
    }
    const std::pair<std::string, long> cases[] = {
        {nobody, TransportError::cannotConnectToHost},
        {"http://" + std::string(64, 'a') + ".example/", TransportError::cannotFindHost},
        {"", TransportError::badURL},
        {"http://", TransportError::badURL},
        {"http://127.0.0.1:99999/", TransportError::badURL},
        {"http://127.0.0.1/a b", TransportError::badURL},
        {std::string("http://127.0.0.1/\0", 18), TransportError::badURL},
        {"127.0.0.1/", TransportError::unsupportedURL},
        {"ftp://127.0.0.1/", TransportError::unsupportedURL},
        {"file:///etc/passwd", TransportError::unsupportedURL},
    };
    for (const auto& [url, error] : cases) {
        const HttpResponse response = get(url);
        EXPECT_EQ(errorOf(response), error)
            << url << ": " << (response.error ? response.error->description : "");
        EXPECT_EQ(response.status, 0);
    }
}

TEST(HttpClient, SendsWhatItIsGiven) {
    LoopbackServer server;
    server.on("/path", Server::answer(201, "made", {{"X-Answer", " 42 "}}));
    const std::string body("null \0 byte", 11);
    const HttpResponse response = fetch({.method = "POST",
                                         .url = server.url("/path?q=1"),
                                         .headers = {{"Content-Type", "application/json"}, {"X-Empty", ""}},
                                         .body = body,
                                         .ignoresCaches = true});
    EXPECT_EQ(response.status, 201);
    EXPECT_EQ(header(response, "x-answer"), "42");
    fetch({.method = "PUT", .url = server.url("/path"), .body = std::string(3U << 20, 'b')});
    fetch({.method = "POST", .url = server.url("/path")});
    fetch({.method = "HEAD", .url = server.url("/nowhere")});
    fetch({.url = server.url("/path")});

    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 5U);
    EXPECT_EQ(requests[0].target, "/path?q=1");
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].body, body);
    const auto& headers = requests[0].headers;
    EXPECT_EQ(headers.at("content-type"), "application/json");
    EXPECT_EQ(headers.at("x-empty"), "");
    EXPECT_EQ(headers.at("cache-control"), "no-cache");
    EXPECT_EQ(headers.at("pragma"), "no-cache");
    EXPECT_NE(headers.at("accept-encoding").find("gzip"), std::string::npos);
    EXPECT_EQ(requests[1].method, "PUT");
    EXPECT_EQ(requests[1].body.size(), 3U << 20);
    EXPECT_FALSE(requests[1].headers.contains("expect")) << "would wait for a second";
    EXPECT_EQ(requests[2].headers.at("content-length"), "0");
    EXPECT_EQ(requests[3].method, "HEAD");
    EXPECT_EQ(requests[4].method, "GET");
    EXPECT_FALSE(requests[4].headers.contains("cache-control"));

    for (const Headers& smuggled : {Headers{{"A", "b\r\nC: d"}}, Headers{{"A\nC: d", ""}}}) {
        EXPECT_EQ(errorOf(fetch({.url = server.url(), .headers = smuggled})), TransportError::unknown);
    }
    EXPECT_EQ(server.requests().size(), 5U);
}

TEST(HttpClient, FollowsRedirects) {
    LoopbackServer server;
    server.on("/end", Server::answer(200, "end", {{"X-Last", "yes"}}));
    const std::pair<int, std::string> cases[] = {
        {301, "GET"}, {302, "GET"}, {303, "GET"}, {307, "POST"}, {308, "POST"}};
    for (const auto& [status, method] : cases) {
        server.on("/start", Server::answer(status, "not this", {{"Location", "/end"}, {"X-First", "yes"}}));
        const HttpResponse response = fetch({.method = "POST", .url = server.url("/start"), .body = "body"});
        const Request last = server.requests().back();
        EXPECT_EQ(last.target, "/end");
        EXPECT_EQ(last.method, method) << status;
        EXPECT_EQ(last.body, method == "POST" ? "body" : "") << status;
        EXPECT_EQ(response.status, 200);
        EXPECT_EQ(response.method, method);
        EXPECT_EQ(response.body, "end");
        EXPECT_EQ(header(response, "x-first"), "none");
        EXPECT_EQ(header(response, "x-last"), "yes");
    }
    for (int hop = 0; hop < 20; ++hop) {
        const std::string next = hop == 19 ? "/end" : "/hop" + std::to_string(hop + 1);
        server.on("/hop" + std::to_string(hop), Server::redirect(302, next));
    }
    EXPECT_EQ(get(server.url("/hop0")).body, "end");
}

TEST(HttpClient, TimesOutWhenNothingMoves) {
    LoopbackServer server;
    server.on("/never", Server::stall());
    server.on("/then", [](const Request&, Connection& connection) {
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
        connection.stall();
    });
    server.on("/slow", [](const Request&, Connection& connection) {
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n");
        connection.trickle("0123456789", 100ms);
    });
    // A server that does not speak TLS waits for more of what it takes for a request.
    const std::string handshake = "https" + server.url().substr(4);
    for (const std::string& url : {server.url("/never"), server.url("/then"), handshake}) {
        const auto start = std::chrono::steady_clock::now();
        const HttpResponse response = fetch({.url = url, .idleTimeout = 0.3});
        const auto took = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(errorOf(response), TransportError::timedOut) << url;
        EXPECT_GE(took, 300ms) << url;
        EXPECT_LT(took, 5s) << url;
    }
    EXPECT_EQ(errorOf(fetch({.url = server.url("/slow"), .totalTimeout = 0.5})), TransportError::timedOut);
    Answer slow({.url = server.url("/slow"), .idleTimeout = 0.6, .totalTimeout = 20});
    Answer never({.url = server.url("/never"), .idleTimeout = 0});
    const HttpResponse response = slow.response();
    EXPECT_EQ(response.body, "0123456789") << errorOf(response);
    EXPECT_EQ(never.calls(), 0);
}

TEST(HttpClient, TimesOutWhileATestsClockStands) {
    ManualClock::install();
    LoopbackServer server;
    server.on("/", Server::stall());
    EXPECT_EQ(errorOf(fetch({.url = server.url(), .idleTimeout = 0.3})), TransportError::timedOut);
    EXPECT_EQ(errorOf(fetch({.url = server.url(), .totalTimeout = 0.3})), TransportError::timedOut);
}

TEST(HttpClient, ReusesConnections) {
    LoopbackServer server;
    server.on("/", Server::answer(200, "text"));
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(get(server.url()).body, "text");
    }
    EXPECT_EQ(server.connections(), 1);
    // A kept connection that the server has closed meanwhile is not the request's fault.
    server.on("/close", [](const Request&, Connection& connection) {
        connection.send(Server::response(200, "bye"));
        connection.close();
    });
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(get(server.url("/close")).body, "bye");
    }
    EXPECT_EQ(server.requests().size(), 10U);
}

TEST(HttpClient, CancelsFromAnywhere) {
    LoopbackServer server;
    server.on("/", Server::answer(200, "text"));
    server.on("/never", Server::stall());
    Answer waiting({.url = server.url("/never"), .idleTimeout = 0});
    ASSERT_TRUE(server.waitForRequests(1));
    waiting.cancel();
    waiting.cancel();
    EXPECT_EQ(errorOf(waiting.response()), TransportError::cancelled);
    Answer done({.url = server.url()});
    EXPECT_EQ(done.response().body, "text");
    done.cancel();

    std::atomic<int> ended = 0;
    onThreads(4, [&](int) {
        for (int i = 0; i < 25; ++i) {
            Answer answer({.url = server.url(i % 2 ? "/" : "/never")});
            if (i % 3 == 0 || i % 2 == 0) {
                answer.cancel();
            }
            const long error = errorOf(answer.response());
            ended += error == 0 || error == TransportError::cancelled;
        }
    });
    EXPECT_EQ(ended, 100);
    EXPECT_EQ(waiting.calls() + done.calls(), 2);
}

/// Sends a request when it is destroyed.
struct Chatty {
    std::string url;
    std::promise<HttpResponse>& answered;
    ~Chatty() {
        kiv::sendHttpRequest({.url = url},
                             [&answered = answered](HttpResponse r) { answered.set_value(std::move(r)); });
    }
};

TEST(HttpClient, ReleasesHandlersWhereTheyMayCallIt) {
    LoopbackServer server;
    server.on("/", Server::answer(200, "text"));
    std::promise<HttpResponse> answered;
    const auto task = kiv::sendHttpRequest(
        {.url = server.url()}, [held = std::shared_ptr<Chatty>(new Chatty{server.url(), answered})](
                                   const HttpResponse&) { throw 1; });
    EXPECT_EQ(answered.get_future().get().body, "text");
}

TEST(HttpClient, TrustsWhomTheHostTrusts) {
    const Server::Options identity = makeTlsIdentity(std::getenv("HOME"));
    LoopbackServer server(identity);
    LoopbackServer plain;
    server.on("/", Server::answer(200, "secret"));
    plain.on("/", Server::answer(200, "open"));
    plain.on("/up", Server::redirect(302, server.url()));
    plain.on("/updown", Server::redirect(302, server.url("/down")));
    server.on("/down", Server::redirect(302, plain.url()));
    EXPECT_EQ(errorOf(get(server.url())), TransportError::certificateUntrusted);
    EXPECT_TRUE(server.requests().empty());

    trust(identity.certificateFile);
    EXPECT_EQ(get(server.url()).body, "secret");
    EXPECT_EQ(get("https://localhost:" + std::to_string(server.port())).body, "secret");
    EXPECT_EQ(errorOf(get("https://ip6-localhost.localhost:" + std::to_string(server.port()))),
              TransportError::certificateUntrusted)
        << "the certificate is for another name";
    EXPECT_EQ(get(plain.url("/up")).body, "secret");
    EXPECT_EQ(errorOf(get(server.url("/down"))), TransportError::unsupportedURL);
    EXPECT_EQ(errorOf(get(plain.url("/updown"))), TransportError::unsupportedURL);

    trust(identity.certificateFile + ".missing");
    EXPECT_EQ(errorOf(get(server.url())), TransportError::secureConnectionFailed);
}

TEST(HttpClient, GoesThroughTheHostsProxy) {
    LoopbackServer proxy;
    proxy.on("http://nowhere.example/a", Server::answer(200, "fetched"));
    setenv("no_proxy", "*", 1);
    configureHost([&](KIVHost& host) { host.proxy = proxy.url(""); });
    EXPECT_EQ(get("http://nowhere.example/a").body, "fetched");
    KIVHost::configure({});
    setenv("http_proxy", proxy.url("").c_str(), 1);
    unsetenv("no_proxy");
    EXPECT_EQ(get("http://nowhere.example/a").body, "fetched");
}

volatile std::sig_atomic_t pipeSignals = 0;

TEST(HttpClient, LeavesNoSignalToTheProcess) {
    std::signal(SIGPIPE, [](int) { pipeSignals = pipeSignals + 1; });
    Server::Options options = makeTlsIdentity(std::getenv("HOME"));
    trust(options.certificateFile);
    options.ignoresBodies = true;
    LoopbackServer secure(options);
    LoopbackServer plain(Server::Options{.ignoresBodies = true});
    for (LoopbackServer* server : {&secure, &plain}) {
        server->on("/", Server::reset());
        for (int i = 0; i < 5; ++i) {
            const HttpResponse response =
                fetch({.method = "POST", .url = server->url(), .body = std::string(20U << 20, 'b')});
            EXPECT_EQ(errorOf(response), TransportError::connectionLost);
        }
    }
    EXPECT_EQ(pipeSignals, 0);
}

} // namespace
