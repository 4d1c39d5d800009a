#pragma once

#include <string>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

/// A server on loopback that takes connections and never says a word.
class SilentServer {
public:
    SilentServer() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        bind(socket_, reinterpret_cast<const sockaddr*>(&address), size);
        listen(socket_, SOMAXCONN);
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
        url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    }
    ~SilentServer() { ::close(socket_); }
    SilentServer(const SilentServer&) = delete;
    SilentServer& operator=(const SilentServer&) = delete;

    const std::string& url() const { return url_; }

private:
    const int socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string url_;
};
