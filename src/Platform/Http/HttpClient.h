#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Requests over HTTP and HTTPS, performed by one thread of the library that keeps connections for reuse.
///
/// Certificates are checked against the host's CA file or the system's; the proxy is the host's or the
/// environment's; at most 20 redirects are followed, never from https to http, and 301, 302 and 303 turn a
/// POST into a GET. Compression is undone. A response of more than 64 MiB is a transport error. Nothing here
/// blocks the caller, raises a signal, or holds up the end of the process. A child after a fork has no
/// network thread.
namespace kiv {

inline constexpr std::string_view urlErrorDomain = "URLErrorDomain";

/// A failure below HTTP, in the numbers that logs of this system have always shown.
struct TransportError {
    static constexpr long unknown = -1;
    static constexpr long cancelled = -999;
    static constexpr long badURL = -1000;
    static constexpr long timedOut = -1001;
    static constexpr long unsupportedURL = -1002; ///< also a redirect to such a one
    static constexpr long cannotFindHost = -1003;
    static constexpr long cannotConnectToHost = -1004;
    static constexpr long connectionLost = -1005; ///< also in the middle of a response
    static constexpr long tooManyRedirects = -1007;
    static constexpr long badServerResponse = -1011;
    static constexpr long cannotDecode = -1015;
    static constexpr long tooLarge = -1103;
    static constexpr long secureConnectionFailed = -1200;
    static constexpr long certificateUntrusted = -1202;

    std::string domain; ///< `urlErrorDomain`
    long code = 0;
    std::string description;
};

struct HttpRequest {
    static constexpr double defaultIdleTimeout = 60; ///< seconds

    std::string method = "GET";
    std::string url;
    std::vector<std::pair<std::string, std::string>> headers = {};
    std::string body = {};
    /// The request fails when no byte has come or gone for so many seconds, while it connects too; zero or
    /// less never.
    double idleTimeout = defaultIdleTimeout;
    /// The request fails when it has not ended after so many seconds; zero or less never.
    double totalTimeout = 0;
    /// Asks caches on the way for a fresh answer.
    bool ignoresCaches = false;
};

struct HttpResponse {
    int status = 0;                                                ///< 0 when there was no response
    std::vector<std::pair<std::string, std::string>> headers = {}; ///< of the last one, names in lower case
    std::string body = {};                                         ///< empty when there is an error
    std::optional<TransportError> error = {};
};

/// A request under way. Letting go of it does not stop the request.
class HttpTask {
public:
    virtual ~HttpTask() = default;
    /// Ends the request with `TransportError::cancelled`, unless it has ended. Callable from any thread, also
    /// from a handler; no other handler but the last one is called after it there.
    virtual void cancel() = 0;
};

/// What a stream tells, all on the library's network thread, in order, and released there after the last one.
/// They must not throw or wait.
struct HttpStreamHandlers {
    /// The response has begun: its status.
    std::function<void(int status)> responded = {};
    std::function<void(std::string_view bytes)> received = {};
    /// Called once, last. No error when the server has ended the response.
    std::function<void(const std::optional<TransportError>& error)> completed = {};
};

/// Performs a request; `completion` is called once, on the library's network thread, and released there. It
/// must not throw or wait: hand longer work to a queue. Callable from any thread.
std::shared_ptr<HttpTask> sendHttpRequest(HttpRequest request,
                                          std::function<void(HttpResponse response)> completion);

/// Performs a request whose response has no end and no limit of size. TCP keep-alive notices a dead peer.
/// Callable from any thread.
std::shared_ptr<HttpTask> openHttpStream(HttpRequest request, HttpStreamHandlers handlers);

} // namespace kiv
