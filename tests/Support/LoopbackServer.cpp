#include "Support/LoopbackServer.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <stdexcept>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Support/Patience.h"

namespace {

void require(bool success, const char* what) {
    if (!success) {
        throw std::runtime_error(what);
    }
}

std::shared_ptr<void> makeTls(const LoopbackServer::Options& options) {
    if (options.certificateFile.empty()) {
        return nullptr;
    }
    const std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    require(context != nullptr &&
                SSL_CTX_use_certificate_file(context.get(), options.certificateFile.c_str(),
                                             SSL_FILETYPE_PEM) == 1 &&
                SSL_CTX_use_PrivateKey_file(context.get(), options.keyFile.c_str(), SSL_FILETYPE_PEM) == 1,
            "no TLS context");
    return context;
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \r\n");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \r\n") - first + 1);
}

LoopbackServer::Request parseHead(const std::string& head) {
    LoopbackServer::Request request;
    std::size_t end = head.find("\r\n");
    const std::string first = head.substr(0, end);
    request.method = first.substr(0, first.find(' '));
    request.target = first.substr(request.method.size() + 1, first.rfind(' ') - request.method.size() - 1);
    while (end + 2 < head.size()) {
        const std::size_t start = end + 2;
        end = head.find("\r\n", start);
        const std::string line = head.substr(start, end - start);
        const std::size_t colon = line.find(':');
        if (colon != std::string::npos) {
            std::string name = line.substr(0, colon);
            std::transform(name.begin(), name.end(), name.begin(),
                           [](unsigned char c) { return std::tolower(c); });
            request.headers[name] = trimmed(line.substr(colon + 1));
        }
    }
    return request;
}

} // namespace

/// A client's connection. Only the destructor closes the socket, so that `interrupt` cannot reach another
/// connection that got the same number from the system.
class LoopbackServer::Peer : public LoopbackServer::Connection {
public:
    Peer(LoopbackServer& server, int socket) : server_(server), socket_(socket) {}
    ~Peer() override {
        tls_.reset();
        if (resets_) {
            const linger atOnce{1, 0};
            setsockopt(socket_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        }
        ::close(socket_);
    }

    bool handshake() {
        if (!server_.tls_) {
            return true;
        }
        tls_.reset(SSL_new(static_cast<SSL_CTX*>(server_.tls_.get())));
        SSL_set_fd(tls_.get(), socket_);
        return SSL_accept(tls_.get()) == 1;
    }

    /// Waits for bytes and returns them; none when the client has hung up.
    std::string read() {
        std::string bytes(64U << 10, '\0');
        const auto count = tls_ ? SSL_read(tls_.get(), bytes.data(), static_cast<int>(bytes.size()))
                                : recv(socket_, bytes.data(), bytes.size(), 0);
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return bytes;
    }

    bool send(std::string_view bytes) override {
        while (!bytes.empty()) {
            const auto count =
                tls_ ? SSL_write(tls_.get(), bytes.data(),
                                 static_cast<int>(std::min<std::size_t>(bytes.size(), 1U << 20)))
                     : ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0) {
                return false;
            }
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }

    void stall() override {
        while (!read().empty()) {
        }
        close();
    }

    void close() override {
        shutdown(socket_, SHUT_RDWR);
        open_ = false;
    }

    void reset() override {
        resets_ = true;
        open_ = false;
    }

    bool wait(std::chrono::milliseconds duration) override {
        std::unique_lock lock(server_.lock_);
        return !server_.changed_.wait_for(lock, duration, [&] { return server_.ending_; });
    }

    bool isOpen() const { return open_; }
    /// Wakes the connection's thread when it reads or writes. Called on another thread.
    void interrupt() const { shutdown(socket_, SHUT_RDWR); }

    std::string unread; ///< bytes of the next request that have arrived

private:
    struct FreeTls {
        void operator()(SSL* tls) const { SSL_free(tls); }
    };
    LoopbackServer& server_;
    const int socket_;
    std::unique_ptr<SSL, FreeTls> tls_;
    bool open_ = true;
    bool resets_ = false;
};

bool LoopbackServer::Connection::trickle(std::string_view bytes, std::chrono::milliseconds interval) {
    return std::all_of(bytes.begin(), bytes.end(), [&](const char& c) {
        return wait(interval) && send({&c, 1});
    });
}

LoopbackServer::LoopbackServer(Options options) : options_(std::move(options)), tls_(makeTls(options_)) {
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    require(bind(listener_, reinterpret_cast<sockaddr*>(&address), size) == 0 && listen(listener_, 64) == 0 &&
                getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) == 0,
            "cannot listen on loopback");
    port_ = ntohs(address.sin_port);
    // The server's threads block all signals, which are for the code under test.
    sigset_t every;
    sigset_t before;
    sigfillset(&every);
    pthread_sigmask(SIG_SETMASK, &every, &before);
    acceptor_ = std::thread([this] { accept(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

LoopbackServer::~LoopbackServer() {
    {
        const std::lock_guard lock(lock_);
        ending_ = true;
        for (const auto& peer : peers_) {
            peer->interrupt();
        }
    }
    changed_.notify_all();
    shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    for (std::thread& thread : threads_) {
        thread.join();
    }
    close(listener_);
}

void LoopbackServer::on(const std::string& path, Behaviour behaviour) {
    const std::lock_guard lock(lock_);
    behaviours_[path] = std::move(behaviour);
}

std::string LoopbackServer::url(const std::string& target) const {
    return (tls_ ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(port_) + target;
}

std::vector<LoopbackServer::Request> LoopbackServer::requests() const {
    const std::lock_guard lock(lock_);
    return requests_;
}

bool LoopbackServer::waitForRequests(std::size_t count) const {
    std::unique_lock lock(lock_);
    return changed_.wait_for(lock, patience, [&] { return requests_.size() >= count; });
}

int LoopbackServer::connections() const {
    const std::lock_guard lock(lock_);
    return static_cast<int>(threads_.size());
}

void LoopbackServer::accept() {
    for (;;) {
        const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) {
            return;
        }
        const int atOnce = 1;
        setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &atOnce, sizeof atOnce);
        auto peer = std::make_shared<Peer>(*this, socket);
        const std::lock_guard lock(lock_);
        if (ending_) {
            return;
        }
        peers_.push_back(peer);
        const int number = static_cast<int>(threads_.size()) + 1;
        threads_.emplace_back([this, peer, number]() mutable {
            serve(*peer, number);
            const std::lock_guard gone(lock_);
            std::erase(peers_, peer);
            peer.reset();
        });
    }
}

void LoopbackServer::serve(Peer& peer, int number) {
    if (!peer.handshake()) {
        return;
    }
    while (peer.isOpen() && answerNext(peer, number)) {
    }
}

bool LoopbackServer::answerNext(Peer& peer, int number) {
    const auto readUntil = [&](auto enough) {
        while (!enough()) {
            const std::string bytes = peer.read();
            if (bytes.empty()) {
                return false;
            }
            peer.unread += bytes;
        }
        return true;
    };
    std::size_t end = 0;
    if (!readUntil([&] { return (end = peer.unread.find("\r\n\r\n")) != std::string::npos; })) {
        return false;
    }
    Request request = parseHead(peer.unread.substr(0, end + 2));
    request.connection = number;
    peer.unread.erase(0, end + 4);
    if (const auto length = request.headers.find("content-length");
        length != request.headers.end() && !options_.ignoresBodies) {
        const std::size_t size = std::stoul(length->second);
        if (!readUntil([&] { return peer.unread.size() >= size; })) {
            return false;
        }
        request.body = peer.unread.substr(0, size);
        peer.unread.erase(0, size);
    }
    Behaviour behaviour = answer(404, "");
    {
        const std::lock_guard lock(lock_);
        auto found = behaviours_.find(request.target.substr(0, request.target.find('?')));
        found = found != behaviours_.end() ? found : behaviours_.find("");
        if (found != behaviours_.end()) {
            behaviour = found->second;
        }
        requests_.push_back(request);
    }
    changed_.notify_all();
    behaviour(request, peer);
    return true;
}

std::string LoopbackServer::response(int status, std::string_view body,
                                     const std::map<std::string, std::string>& headers) {
    std::string text = "HTTP/1.1 " + std::to_string(status) + " Status\r\n";
    for (const auto& [name, value] : headers) {
        text.append(name).append(": ").append(value).append("\r\n");
    }
    return text.append("Content-Length: ")
        .append(std::to_string(body.size()))
        .append("\r\n\r\n")
        .append(body);
}

LoopbackServer::Behaviour LoopbackServer::answer(int status, std::string body,
                                                 std::map<std::string, std::string> headers) {
    return [text = response(status, body, headers)](const Request&, Connection& connection) {
        connection.send(text);
    };
}

LoopbackServer::Behaviour LoopbackServer::raw(std::string bytes) {
    return [bytes = std::move(bytes)](const Request&, Connection& connection) {
        connection.send(bytes);
        connection.close();
    };
}

LoopbackServer::Behaviour LoopbackServer::flood(std::string head, std::string piece, std::size_t size) {
    return [=](const Request&, Connection& connection) {
        connection.send(head);
        for (std::size_t sent = 0; sent < size && connection.send(piece); sent += piece.size()) {
        }
        connection.close();
    };
}

LoopbackServer::Behaviour LoopbackServer::redirect(int status, std::string location) {
    return answer(status, "elsewhere", {{"Location", std::move(location)}});
}

LoopbackServer::Behaviour LoopbackServer::stall() {
    return [](const Request&, Connection& connection) { connection.stall(); };
}

LoopbackServer::Behaviour LoopbackServer::reset() {
    return [](const Request&, Connection& connection) { connection.reset(); };
}

LoopbackServer::Options makeTlsIdentity(const std::string& folder) {
    const std::string command =
        "cd '" + folder +
        "' && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout key.pem"
        " -out certificate.pem -days 1 -subj /CN=Loopback"
        " -addext subjectAltName=IP:127.0.0.1,DNS:localhost 2>/dev/null";
    require(std::system(command.c_str()) == 0, "no certificate");
    return {folder + "/certificate.pem", folder + "/key.pem"};
}
