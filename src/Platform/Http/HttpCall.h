#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/ip/tcp.hpp>

namespace kiv {

using Socket = boost::asio::ip::tcp::socket;

/// A request. A header that came more than once is all that came, with commas between.
struct HttpCall {
    std::string method;
    std::string path;  ///< without the query
    std::string query; ///< what follows the question mark, as it was sent
    std::string host;  ///< the header of that name, as the next ones
    std::string origin;
    std::string fetchSite; ///< Sec-Fetch-Site
    std::string contentType;
    std::string contentEncoding;
    std::string body;
};

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

/// What is answered, and what the access log says of it.
struct HttpAnswer {
    unsigned status = 200;
    std::shared_ptr<const std::string> body = {}; ///< null for none
    std::string type = "application/json";        ///< of the body
    HttpHeaders headers = {};                     ///< beside those that all answers have
    std::string note = {};                        ///< for the log
    bool closes = false;                          ///< the connection is closed after it
    /// When it is set, the answer is a stream of events: it is given the connection once the head has been
    /// sent, and writes the rest itself. The ticket stands for the connection while it is open.
    std::function<void(Socket socket, std::shared_ptr<void> ticket)> takeOver = {};
};

using HttpReply = std::function<void(HttpAnswer)>;

/// Answers calls that have arrived whole by calling `reply` once, now or later, on the server's thread.
using HttpHandler = std::function<void(HttpCall call, HttpReply reply)>;

/// A refusal with a JSON body that says why.
HttpAnswer refusal(unsigned status, const std::string& reason);

/// What a connection may ask for before it is refused or closed.
struct HttpLimits {
    std::uint32_t headerBytes = 16U << 10;
    std::uint64_t bodyBytes = 16U << 20;
    std::chrono::seconds request{30}; ///< for a request to arrive, and an answer to leave, whole
    std::chrono::seconds between{75}; ///< for the next request of a connection to begin
};

} // namespace kiv
