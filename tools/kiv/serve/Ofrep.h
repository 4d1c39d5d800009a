#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>

#include "Platform/Http/HttpCall.h"
#include "config/PayloadFolder.h"
#include "serve/Journal.h"
#include "serve/OfrepAnswers.h"
#include "serve/OfrepImpressions.h"
#include "serve/OfrepTarget.h"
#include "serve/PushStreams.h"
#include "serve/Records.h"

namespace kiv::tool {

/// Answers clients of the OpenFeature Remote Evaluation Protocol (OFREP): evaluates flags, one or all, and
/// tells of changes by streams of events.
///
/// Every public function is called on the thread that runs `io`. Requests are evaluated on threads of their
/// own, which start with the first request, so that a slow expression delays no connection. The worker is the
/// thread that uses the records; it must be joined before this object is destroyed.
class Ofrep {
public:
    struct Settings {
        std::string host;                        ///< the address that the server listens on
        std::vector<std::string> allowedOrigins; ///< of other sites whose pages may ask
        std::chrono::milliseconds keepAlive;     ///< between the comments of a quiet stream
    };

    /// `impressionsStored` is called after impressions were stored.
    Ofrep(boost::asio::io_context& io, boost::asio::thread_pool& worker, Records& records,
          const Journal& journal, Settings settings, std::function<void()> impressionsStored);
    ~Ofrep();

    /// Evaluates the document from now on, and tells the streams of the key. A null envelope stands for a
    /// payload that was refused.
    void publish(const std::string& key, Envelope envelope);
    void remove(const std::string& key) { applications_.erase(key); }

    /// Call it when an application has reported its state: the types of its properties may have changed.
    void stateChanged(const std::string& key);

    /// Answers the call, now or later. False when its path is none of the protocol.
    bool answer(HttpCall& call, const HttpReply& reply);

private:
    using Work = std::function<OfrepAnswer(const OfrepApplication& application, const OfrepTarget& target)>;

    /// Nothing when the target is there.
    std::optional<OfrepError> refusalOf(const OfrepTarget& target) const;
    /// Why the service does not answer who calls; nothing when it does.
    std::optional<std::string> objectionTo(const HttpCall& call) const;
    bool isAllowedOrigin(const std::string& origin) const;
    void answerTarget(OfrepTarget target, HttpCall call, HttpReply reply);
    void openStream(const std::string& key, const HttpReply& reply);

    /// Runs `work` with the application of the target's key on an evaluating thread, then replies.
    void evaluate(OfrepTarget target, Work work, HttpReply reply);
    /// Calls `then` when the declarations of the key's application are known, now or later.
    void withDeclarations(const std::string& key, std::function<void()> then);

    boost::asio::io_context& io_;
    boost::asio::thread_pool& worker_;
    Records& records_; ///< used by the worker alone
    const Journal& journal_;
    const Settings settings_;
    PushStreams streams_;
    OfrepImpressions impressions_;
    /// By key. Null flags stand for a refused payload, null declarations for ones that were not read yet.
    std::map<std::string, OfrepApplication, std::less<>> applications_;
    std::optional<boost::asio::thread_pool> evaluators_;
};

/// Throws `WrongUsage` unless the text has the form of an origin as browsers write it: http or https and a
/// host in lower case, and nothing but a port after it.
void requireOrigin(const std::string& text);

} // namespace kiv::tool
