#include "Platform/Http/HttpServer.h"

#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/address.hpp>
#include <fcntl.h>

namespace kiv {
namespace {

namespace net = boost::asio;
using boost::system::error_code;

constexpr std::string_view tooMany = "HTTP/1.1 503 Service Unavailable\r\nConnection: close\r\n"
                                     "Content-Length: 0\r\nRetry-After: 1\r\n\r\n";

/// Closes the socket in programs that this process starts; otherwise they would keep the port or the
/// connection open.
template <class Socket>
void keepFromChildren(Socket& socket) {
    ::fcntl(socket.native_handle(), F_SETFD, FD_CLOEXEC);
}

net::ip::tcp::acceptor listening(net::io_context& io, const std::string& host, unsigned short port) {
    error_code problem;
    const net::ip::address address = net::ip::make_address(host, problem);
    if (problem) {
        throw NoSuchHost();
    }
    const net::ip::tcp::endpoint endpoint(address, port);
    net::ip::tcp::acceptor acceptor(io);
    // How many connections may wait to be accepted. The system lowers this number to its own limit.
    constexpr int backlog = 8192;
    if (acceptor.open(endpoint.protocol(), problem) ||
        acceptor.set_option(net::socket_base::reuse_address(true), problem) ||
        acceptor.bind(endpoint, problem) || acceptor.listen(backlog, problem)) {
        throw CannotListen("cannot listen on " + host + ", port " + std::to_string(port) + ": " +
                           problem.message());
    }
    keepFromChildren(acceptor);
    return acceptor;
}

} // namespace

std::shared_ptr<void> ConnectionCount::ticket() {
    if (*open_ >= most_) {
        return nullptr;
    }
    ++*open_;
    return {static_cast<void*>(open_.get()), [open = open_](void*) { --*open; }};
}

HttpServer::HttpServer(net::io_context& io, const std::string& host, unsigned short port,
                       std::size_t mostConnections, HttpService service)
    : acceptor_(listening(io, host, port)), pause_(io), connections_(mostConnections),
      service_(std::move(service)) {
    accept();
}

void HttpServer::accept() {
    acceptor_.async_accept([this](error_code problem, Socket socket) {
        if (problem == net::error::operation_aborted) {
            return;
        }
        if (!problem) {
            begin(std::move(socket));
            return accept();
        }
        // The process is out of descriptors or memory: tries again after a while.
        constexpr std::chrono::milliseconds aWhile{100};
        pause_.expires_after(aWhile);
        pause_.async_wait([this](error_code stopped) {
            if (!stopped) {
                accept();
            }
        });
    });
}

void HttpServer::begin(Socket socket) {
    error_code ignored;
    keepFromChildren(socket);
    if (auto ticket = connections_.ticket()) {
        socket.set_option(net::ip::tcp::no_delay(true), ignored);
        serveConnection(std::move(socket), service_, std::move(ticket));
    } else {
        socket.non_blocking(true, ignored);
        socket.send(net::buffer(tooMany), 0, ignored);
    }
}

} // namespace kiv
