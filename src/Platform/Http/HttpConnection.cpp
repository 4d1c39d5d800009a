#include "Platform/Http/HttpConnection.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>

namespace kiv {
namespace {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::system::error_code;

constexpr unsigned http11 = 11;

class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(Socket socket, const HttpService& service, std::shared_ptr<void> ticket)
        : stream_(std::move(socket)), service_(service), ticket_(std::move(ticket)) {}

    void start() { readHeader(service_.limits.request); }

private:
    using Response = http::response<http::span_body<const char>>;

    /// A completion handler that keeps the connection alive, and calls `next` unless there was an error.
    template <class Next>
    auto then(Next next) {
        return [self = shared_from_this(), next](error_code problem, std::size_t) {
            if (!problem) {
                next(*self);
            }
        };
    }

    void readHeader(std::chrono::seconds patience) {
        parser_.emplace();
        parser_->header_limit(service_.limits.headerBytes);
        parser_->body_limit(service_.limits.bodyBytes);
        stream_.expires_after(patience);
        call_ = {};
        keepAlive_ = isHead_ = false;
        http::async_read_header(
            stream_, buffer_, *parser_, [self = shared_from_this()](error_code problem, std::size_t) {
                // When the header declares too large a body, the parser reports that once it has read the
                // header.
                !problem || problem == http::error::body_limit ? self->admit(problem) : self->refuse(problem);
            });
    }

    void admit(error_code problem) {
        const auto& request = parser_->get();
        const std::string_view target = request.target();
        const std::size_t pathEnd = std::min(target.find('?'), target.size());
        call_ = {.method = std::string(request.method_string()),
                 .path = std::string(target.substr(0, pathEnd)),
                 .query = std::string(target.substr(std::min(pathEnd + 1, target.size()))),
                 .host = header("Host"),
                 .origin = header("Origin"),
                 .fetchSite = header("Sec-Fetch-Site"),
                 .contentType = header("Content-Type"),
                 .contentEncoding = header("Content-Encoding"),
                 .ifNoneMatch = header("If-None-Match"),
                 .body = {}};
        keepAlive_ = request.keep_alive();
        isHead_ = request.method() == http::verb::head;
        if (auto answer = turnedAway()) {
            answer->closes = true; // the client may send the body next, which nobody reads
            write(std::move(*answer));
        } else {
            problem ? refuse(problem) : invite();
        }
    }

    std::string header(std::string_view name) const {
        std::string all;
        const auto [first, last] = parser_->get().equal_range(name);
        for (auto each = first; each != last; ++each) {
            all += (each == first ? "" : ", ") + std::string(each->value());
        }
        return all;
    }

    std::optional<HttpAnswer> turnedAway() const {
        return service_.turnAway ? service_.turnAway(call_) : std::nullopt;
    }

    /// Asks for the body if the client waits for "100 Continue" before it sends the body, then reads the
    /// body.
    void invite() {
        constexpr std::string_view invitation = "HTTP/1.1 100 Continue\r\n\r\n";
        stream_.expires_after(service_.limits.request);
        if (!parser_->is_done() && beast::iequals(parser_->get()[http::field::expect], "100-continue")) {
            net::async_write(stream_, net::buffer(invitation),
                             then([](Connection& self) { self.readBody(); }));
        } else {
            readBody();
        }
    }

    void readBody() {
        http::async_read(stream_, buffer_, *parser_,
                         [self = shared_from_this()](error_code problem, std::size_t) {
                             problem ? self->refuse(problem) : self->dispatch();
                         });
    }

    void dispatch() {
        call_.body = std::move(parser_->get().body());
        service_.handler(std::move(call_), [self = shared_from_this()](HttpAnswer answer) {
            answer.takeOver ? self->handOver(std::move(answer)) : self->write(std::move(answer));
        });
    }

    /// Answers a request that is not valid HTTP or is too large. Does nothing when the connection has ended
    /// or failed.
    void refuse(error_code problem) {
        if (problem.category() != make_error_code(http::error::bad_method).category() ||
            problem == http::error::end_of_stream || problem == http::error::partial_message) {
            return;
        }
        const auto refused = [&] {
            return problem == http::error::body_limit     ? refusal(413, "the body is too large")
                   : problem == http::error::header_limit ? refusal(431, "the header is too large")
                                                          : refusal(400, "no HTTP: " + problem.message());
        };
        auto stranger = turnedAway();
        HttpAnswer answer = stranger ? std::move(*stranger) : refused();
        service_.refused(answer);
        answer.closes = true;
        write(std::move(answer));
    }

    void write(HttpAnswer answer) {
        answer_ = std::move(answer);
        const std::string_view body = answer_.body ? std::string_view(*answer_.body) : "";
        Response& response = response_.emplace(http::status(answer_.status), http11);
        response.body() = {body.data(), body.size()};
        response.set(http::field::content_type, answer_.type);
        setHeaders(response);
        keepAlive_ = keepAlive_ && !answer_.closes;
        response.keep_alive(keepAlive_);
        if (response.result() != http::status::no_content &&
            response.result() != http::status::not_modified) {
            response.prepare_payload(); // these two have no body, and so no length of one
        }
        if (isHead_) {
            response.body() = {};
        }
        stream_.expires_after(service_.limits.request);
        http::async_write(stream_, response, then([](Connection& self) {
                              self.keepAlive_ ? self.readHeader(self.service_.limits.between) : self.linger();
                          }));
    }

    template <class Head>
    void setHeaders(Head& head) const {
        head.set(http::field::cache_control, "no-cache");
        head.set("X-Content-Type-Options", "nosniff");
        for (const auto* headers : {&service_.headers, &answer_.headers}) {
            for (const auto& [name, value] : *headers) {
                head.set(name, value);
            }
        }
    }

    void handOver(HttpAnswer answer) {
        answer_ = std::move(answer);
        auto head = std::make_shared<http::response<http::empty_body>>(http::status::ok, http11);
        head->set(http::field::content_type, "text/event-stream");
        setHeaders(*head);
        head->set("X-Accel-Buffering", "no"); // tells a proxy to pass on each event at once
        head->keep_alive(false);
        stream_.expires_after(service_.limits.request);
        http::async_write(stream_, *head, then([head](Connection& self) {
                              self.stream_.expires_never();
                              self.answer_.takeOver(self.stream_.release_socket(), std::move(self.ticket_));
                          }));
    }

    /// Waits a while for the client to close the connection first: the answer could be lost if the server
    /// closed it while the client is still sending.
    void linger() {
        constexpr std::chrono::seconds aWhile{2};
        error_code ignored;
        stream_.socket().shutdown(Socket::shutdown_send, ignored);
        stream_.expires_after(aWhile);
        discard();
    }

    void discard() {
        stream_.async_read_some(net::buffer(discarded_), then([](Connection& self) { self.discard(); }));
    }

    beast::tcp_stream stream_;
    const HttpService& service_;
    std::shared_ptr<void> ticket_;
    beast::flat_buffer buffer_;
    std::optional<http::request_parser<http::string_body>> parser_;
    HttpCall call_; ///< as much of the present call as has been read
    HttpAnswer answer_;
    std::optional<Response> response_;
    bool keepAlive_ = false;
    bool isHead_ = false;
    std::array<char, 4096> discarded_{};
};

} // namespace

void serveConnection(Socket socket, const HttpService& service, std::shared_ptr<void> ticket) {
    std::make_shared<Connection>(std::move(socket), service, std::move(ticket))->start();
}

} // namespace kiv
