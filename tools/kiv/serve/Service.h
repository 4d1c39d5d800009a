#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>

#include "Platform/Http/HttpCall.h"
#include "config/PayloadFolder.h"
#include "serve/Journal.h"
#include "serve/Ofrep.h"
#include "serve/PushStreams.h"
#include "serve/Records.h"
#include "serve/ServedDocument.h"

namespace kiv::tool {

/// Answers the requests of applications at the six endpoints and those of OpenFeature clients, and shows
/// people what applications have reported.
///
/// One thread runs `io` with all connections; every public function is called on it. Another thread, the
/// worker, is the service's own and uses the folder and the records, so that a slow disk delays no
/// connection. Further threads evaluate flags for OpenFeature clients.
class Service {
public:
    struct Settings {
        std::string host = "127.0.0.1";             ///< the address that the server listens on
        bool cdnMisses = false;                     ///< the configuration CDN answers every request with 404
        std::chrono::milliseconds keepAlive{15000}; ///< between the comments of a quiet push stream
        std::vector<std::string> allowedOrigins = {};     ///< sites whose pages may ask for evaluations
        std::uint64_t bodyBytes = HttpLimits().bodyBytes; ///< limit in bytes of a gzip body after unpacking
    };

    Service(boost::asio::io_context& io, PayloadFolder& folder, Records& records, const Journal& journal,
            const Settings& settings);
    ~Service();

    /// Takes over the changes: new envelopes are served and announced to the push streams of their keys.
    void apply(const std::vector<PayloadChange>& changes);

    /// Has the worker read the folder, then applies the changes.
    void readFolder();

    void answer(HttpCall call, HttpReply reply);

    /// The keys that have a payload, served or refused.
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

    /// Answers a call for the page or what it shows, now or later. False when the call is for neither.
    bool answerPerson(const HttpCall& call, const HttpReply& reply);
    HttpAnswer openPage();

    HttpAnswer configuration(const std::string& key) const;
    void tell(const PayloadChange& change) const;

    /// Has the worker note in the records what decides each flag of the document.
    void noteDeciders(const std::string& key, const ServedDocument& document);

    /// Replies with what the page at the path shows.
    void answerWithData(const HttpCall& call, const HttpReply& reply);

    /// A reply that first tells the open pages that what they show may have changed, then calls `reply`.
    HttpReply toldToPages(HttpReply reply);

    /// Runs `work` on the worker, and replies with the answer that it returns. A `Refusal` that it throws is
    /// the answer; another exception gives 500.
    void onWorker(HttpReply reply, std::function<HttpAnswer()> work);
    /// Like the function above; `work` takes the JSON object in the call's body.
    void onWorker(HttpCall call, HttpReply reply, std::function<HttpAnswer(const json::object&)> work);

    boost::asio::io_context& io_;
    boost::asio::thread_pool worker_{1};
    PayloadFolder& folder_; ///< used by the worker alone
    Records& records_;      ///< used by the worker alone
    const Journal& journal_;
    Settings settings_;
    PushStreams streams_;
    PushStreams pages_; ///< the streams of the open pages, all under the key `allPages`
    Ofrep ofrep_;
    std::map<std::string, ServedDocument, std::less<>> documents_; ///< by key
};

} // namespace kiv::tool
