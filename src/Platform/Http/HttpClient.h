#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Requests over HTTP and HTTPS, performed by one thread of the library, kiv-network, which keeps connections
/// for reuse.
///
/// Certificates are checked against the host's CA file or the system's; the proxy is the host's or the
/// environment's; at most 20 redirects are followed, never from https to http, and 301, 302 and 303 turn a
/// POST into a GET. Compressed bodies are unpacked. A kept connection that breaks before the response begins
/// is no failure of the request, which is sent again; but a POST is not, because the server may have acted on
/// it. Two host names are looked up at a time; who waits for a look-up of others has its own limits, and a
/// request that needs none does not wait. Nothing here blocks the caller, raises a signal, or holds up the
/// end of the process. The requests of a process are not its child's after a fork; in a silent child
/// (Threads/Fork.h), new ones are dropped and their handlers are not called.
///
/// Handlers run on the network thread. They must not throw or wait, or other requests wait with them; so they
/// run no code of the application, not even its log sink, and post longer work to a queue.
namespace kiv {

inline constexpr std::string_view urlErrorDomain = "URLErrorDomain";

/// A failure below HTTP. The codes are the numbers that this system's logs have always shown.
struct TransportError {
    static constexpr long unknown = -1;
    static constexpr long cancelled = -999;
    static constexpr long badURL = -1000;
    static constexpr long timedOut = -1001;
    static constexpr long unsupportedURL = -1002; ///< unsupported scheme, in the URL or in a redirect
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
    /// Idle limit in seconds: the request fails when no byte is sent or received for this long, also while it
    /// connects. Zero or less: no limit.
    double idleTimeout = defaultIdleTimeout;
    /// Limit in seconds for the whole request. Zero or less: no limit.
    double totalTimeout = 0;
    /// A response with a longer body, unpacked, is a transport error. Does not hold for streams.
    std::size_t mostBodyBytes = std::size_t{16} << 20;
    /// Asks caches on the way for a fresh answer.
    bool ignoresCaches = false;
};

struct HttpResponse {
    int status = 0; ///< 0 when there was no response
    /// The method of the request that was answered, which a redirect may have changed; empty when no request
    /// was made.
    std::string method = {};
    /// The headers of the response after the last redirect; their names are in lower case.
    std::vector<std::pair<std::string, std::string>> headers = {};
    std::string body = {}; ///< empty when there is an error
    std::optional<TransportError> error = {};
};

/// A request under way. Destroying the task does not stop the request.
class HttpTask {
public:
    virtual ~HttpTask() = default;
    /// Ends the request with `TransportError::cancelled`, unless it has ended. Callable from any thread, also
    /// from a handler of the request. When a handler cancels the request, only the last handler is still
    /// called.
    virtual void cancel() = 0;
};

/// The handlers of a stream. They are called on the network thread in this order, and released there after
/// the last call. Each may be empty.
struct HttpStreamHandlers {
    /// The response has begun, with this status.
    std::function<void(int status)> responded = {};
    /// A part of the body has come. `bytes` is valid during the call.
    std::function<void(std::string_view bytes)> received = {};
    /// The stream has ended; `error` is nullopt when the server ended the response. Called once.
    std::function<void(const std::optional<TransportError>& error)> completed = {};
};

/// Performs a request. `completion` is called once, on the network thread, and released there. Callable from
/// any thread.
std::shared_ptr<HttpTask> sendHttpRequest(HttpRequest request,
                                          std::function<void(HttpResponse response)> completion);

/// Performs a request whose response may go on for ever and have any size. TCP keep-alive notices a dead
/// peer. Callable from any thread.
std::shared_ptr<HttpTask> openHttpStream(HttpRequest request, HttpStreamHandlers handlers);

} // namespace kiv
