#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include "Platform/Http/HttpConnection.h"

namespace kiv {

/// Counts the open connections: each holds a ticket.
class ConnectionCount {
public:
    explicit ConnectionCount(std::size_t most) : most_(most) {}

    /// Null when there are too many.
    std::shared_ptr<void> ticket();

private:
    std::size_t most_;
    std::shared_ptr<std::size_t> open_ = std::make_shared<std::size_t>(0);
};

/// The host that was to be listened on is no address.
class NoSuchHost : public std::exception {};

/// The address cannot be had: `what` says so.
class CannotListen : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// An HTTP/1.1 server. Everything happens on the one thread that runs `io`.
class HttpServer {
public:
    /// Listens from now on. Port 0 takes a free one. Throws `NoSuchHost` and `CannotListen`.
    HttpServer(boost::asio::io_context& io, const std::string& host, unsigned short port,
               std::size_t mostConnections, HttpService service);

    unsigned short port() const { return acceptor_.local_endpoint().port(); }

private:
    void accept();
    void begin(Socket socket);

    boost::asio::ip::tcp::acceptor acceptor_;
    boost::asio::steady_timer pause_;
    ConnectionCount connections_;
    HttpService service_;
};

} // namespace kiv
