#include "Page.h"

#include <array>
#include <string_view>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

/// The answer to the request; empty when there is none.
std::string exchange(int port, const std::string& request) {
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit{.tv_sec = 10, .tv_usec = 0};
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(static_cast<std::uint16_t>(port));
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string answer;
    if (connect(connection, reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0 &&
        send(connection, request.data(), request.size(), MSG_NOSIGNAL) ==
            static_cast<ssize_t>(request.size())) {
        std::array<char, 65536> piece{};
        for (ssize_t size = 0; (size = recv(connection, piece.data(), piece.size(), 0)) > 0;) {
            answer.append(piece.data(), static_cast<std::size_t>(size));
        }
    }
    close(connection);
    return answer;
}

} // namespace

bool askPage(const std::string& address) {
    const std::size_t hostBegin = address.find("//") + 2;
    const std::size_t pathBegin = address.find('/', hostBegin);
    const std::string host = address.substr(hostBegin, pathBegin - hostBegin);
    const std::string path = address.substr(pathBegin);
    const int port = std::stoi(host.substr(host.find(':') + 1));
    const std::string head = " HTTP/1.1\r\nConnection: close\r\nHost: " + host + "\r\n";
    const std::string body = R"({"tab":"soak","search":""})";
    const std::string page = exchange(port, "GET " + path + head + "\r\n");
    const std::string rows = exchange(port, "POST " + path + "load" + head + "Origin: http://" + host +
                                                "\r\nContent-Type: application/json\r\nContent-Length: " +
                                                std::to_string(body.size()) + "\r\n\r\n" + body);
    constexpr std::string_view good = "HTTP/1.1 200 ";
    return page.starts_with(good) && rows.starts_with(good);
}
