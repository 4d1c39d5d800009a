#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>

#include "Platform/Http/HttpCall.h"
#include "config/PayloadFolder.h"
#include "serve/Journal.h"
#include "serve/PushStreams.h"
#include "serve/Records.h"

namespace kiv::tool {

/// Answers what applications ask of the six endpoints, and shows people what they have told.
///
/// Two threads: one for all connections, which runs `io` and calls everything here; and one of its own for
/// the folder and the records, so that a disk holds up no connection.
class Service {
public:
    struct Settings {
        std::string host = "127.0.0.1"; ///< the address that is listened on
        bool cdnMisses = false;         ///< the configuration CDN answers 404, whatever it is asked for
        std::chrono::milliseconds keepAlive{15000};
        std::uint64_t bodyBytes = HttpLimits().bodyBytes; ///< of a body that was packed, when unpacked
    };

    Service(boost::asio::io_context& io, PayloadFolder& folder, Records& records, const Journal& journal,
            const Settings& settings);
    ~Service();

    /// Serves these, and announces those that are new to the streams of their keys.
    void apply(const std::vector<PayloadChange>& changes);

    /// Reads the folder, and applies what has changed.
    void readFolder();

    void answer(HttpCall call, HttpReply reply);

    /// The keys that there are payloads for, served or refused.
    std::vector<std::string> keys() const;

private:
    /// A request to an endpoint: `<endpoint>/<key>`, or `<endpoint>/<key>/<rest>`.
    struct Target {
        std::string key;
        std::string rest;
    };
    struct Route {
        std::string_view name;
        std::string_view method;
        std::string_view path;
        bool hasRest;
        void (Service::*answer)(Target target, HttpCall call, HttpReply reply);
    };

    static const Route* routeOf(std::string_view path, Target& target);
    void answerFor(const Route& route, Target target, HttpCall call, HttpReply reply);

    void configurationFromCdn(Target target, HttpCall call, HttpReply reply);
    void configurationFromApi(Target target, HttpCall call, HttpReply reply);
    void stateFromCdn(Target target, HttpCall call, HttpReply reply);
    void keepState(Target target, HttpCall call, HttpReply reply);
    void keepImpressions(Target target, HttpCall call, HttpReply reply);
    void openStream(Target target, HttpCall call, HttpReply reply);

    /// True when the call was for the page for people, and has been answered or will be.
    bool answerPerson(const HttpCall& call, const HttpReply& reply);
    HttpAnswer openPage();

    HttpAnswer configuration(const std::string& key) const;
    void tell(const PayloadChange& change) const;

    /// The reply to a call that may change what pages show.
    HttpReply toldToPages(HttpReply reply);

    /// Runs `work`, which makes an answer, beside the connections.
    void beside(HttpReply reply, std::function<HttpAnswer()> work);
    /// The same for the JSON object in a call's body.
    void beside(HttpCall call, HttpReply reply, std::function<HttpAnswer(const json::object&)> work);

    boost::asio::io_context& io_;
    boost::asio::thread_pool worker_{1};
    PayloadFolder& folder_; ///< used by the worker alone
    Records& records_;      ///< used by the worker alone
    const Journal& journal_;
    Settings settings_;
    PushStreams streams_;
    PushStreams pages_; ///< those that people look at, all under one name
    std::map<std::string, Envelope, std::less<>> envelopes_; ///< by key; null when the payload was refused
};

} // namespace kiv::tool
