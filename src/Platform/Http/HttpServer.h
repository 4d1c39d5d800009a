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

/// Counts the open connections, each of which holds a ticket.
class ConnectionCount {
public:
    explicit ConnectionCount(std::size_t most) : most_(most) {}

    /// A ticket for one more connection; null when `most` connections are open.
    std::shared_ptr<void> ticket();

private:
    std::size_t most_;
    std::shared_ptr<std::size_t> open_ = std::make_shared<std::size_t>(0);
};

/// The host to listen on is not an IP address.
class NoSuchHost : public std::exception {};

/// The server cannot listen on the address; `what` says why.
class CannotListen : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// An HTTP/1.1 server. Everything happens on the one thread that runs `io`.
class HttpServer {
public:
    /// Starts to listen on `host`, an IP address of this machine. Port 0 takes a free port. A connection that
    /// comes while `mostConnections` are open gets 503. Throws `NoSuchHost` and `CannotListen`.
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
