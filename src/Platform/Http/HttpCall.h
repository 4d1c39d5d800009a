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

/// A request that a server has received. Headers that were not sent are empty; the values of a header that
/// was sent several times are joined by ", ".
struct HttpCall {
    std::string method = {};
    std::string path = {};            ///< without the query
    std::string query = {};           ///< the text after the question mark, not decoded
    std::string host = {};            ///< header Host
    std::string origin = {};          ///< header Origin
    std::string fetchSite = {};       ///< header Sec-Fetch-Site
    std::string contentType = {};     ///< header Content-Type
    std::string contentEncoding = {}; ///< header Content-Encoding
    std::string ifNoneMatch = {};     ///< header If-None-Match
    std::string body = {};
};

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

/// The answer to a call, and what a log of the server says about it.
struct HttpAnswer {
    unsigned status = 200;
    std::shared_ptr<const std::string> body = {}; ///< null when there is none
    std::string type = "application/json";        ///< header Content-Type
    HttpHeaders headers = {};                     ///< in addition to the headers that every answer carries
    std::string note = {};                        ///< for the log
    bool closes = false;                          ///< the connection is closed after this answer
    /// When `takeOver` is set, the answer is a stream of events: the server sends the head, then calls
    /// `takeOver` with the connection. The callee writes the events, and keeps `ticket` as long as the
    /// connection is open.
    std::function<void(Socket socket, std::shared_ptr<void> ticket)> takeOver = {};
};

/// Sends the answer to a call.
using HttpReply = std::function<void(HttpAnswer)>;

/// Answers a call that has arrived whole: calls `reply` once, now or later, on the server's thread.
using HttpHandler = std::function<void(HttpCall call, HttpReply reply)>;

/// An answer that refuses a call. Its body is a JSON object whose member "error" is the reason.
HttpAnswer refusal(unsigned status, const std::string& reason);

/// The limits of a connection. The server refuses a larger call, and closes the connection of a slower one.
struct HttpLimits {
    std::uint32_t headerBytes = 16U << 10;
    std::uint64_t bodyBytes = 16U << 20;
    std::chrono::seconds request{30}; ///< for a whole request to arrive, and for a whole answer to leave
    std::chrono::seconds between{75}; ///< from an answer to the beginning of the next request
};

} // namespace kiv
