#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

/// A server on loopback that answers as a test tells it, right or wrong. One thread a connection.
class LoopbackServer {
public:
    struct Request {
        std::string method;
        std::string target;                         ///< path and query
        std::map<std::string, std::string> headers; ///< names in lower case
        std::string body;
        int connection = 0; ///< counts from 1
    };

    /// What a behaviour does to the client. All of it gives up quietly when the client or the server goes.
    class Connection {
    public:
        virtual ~Connection() = default;
        virtual bool send(std::string_view bytes) = 0;
        /// Sends a byte at a time, with so long a wait before each.
        bool trickle(std::string_view bytes, std::chrono::milliseconds interval);
        /// Waits until the client hangs up or the server ends.
        virtual void stall() = 0;
        virtual void close() = 0;
        /// The client sees an error, not an end.
        virtual void reset() = 0;
        /// False when the server ends meanwhile.
        virtual bool wait(std::chrono::milliseconds duration) = 0;
    };

    /// Answers a request, on the connection's thread. When it returns, the next request may come.
    using Behaviour = std::function<void(const Request& request, Connection& connection)>;

    struct Options {
        /// PEM files: with them the server speaks TLS.
        std::string certificateFile = {};
        std::string keyFile = {};
        /// Reads the head of a request only, and leaves its body to the network.
        bool ignoresBodies = false;
    };

    /// Whatever has no behaviour of its own gets a 404.
    LoopbackServer() : LoopbackServer(Options()) {}
    explicit LoopbackServer(Options options);
    /// Closes all connections.
    ~LoopbackServer();

    /// `path` is a target without its query; the empty one stands for all that have no behaviour of their
    /// own. Replaces the path's behaviour.
    void on(const std::string& path, Behaviour behaviour);

    std::string url(const std::string& target = "/") const;
    int port() const { return port_; }

    std::vector<Request> requests() const;
    /// Whether so many requests arrive before long.
    bool waitForRequests(std::size_t count) const;
    int connections() const;

    /// A whole response. "Content-Length" is added.
    static std::string response(int status, std::string_view body,
                                const std::map<std::string, std::string>& headers = {});

    static Behaviour answer(int status, std::string body, std::map<std::string, std::string> headers = {});
    /// Sends the bytes as they are, then hangs up.
    static Behaviour raw(std::string bytes);
    /// Sends the head, then the piece again and again until it makes `size` bytes or the client hangs up.
    static Behaviour flood(std::string head, std::string piece, std::size_t size);
    static Behaviour redirect(int status, std::string location);
    static Behaviour stall();
    static Behaviour reset();

private:
    class Peer;

    void accept();
    void serve(Peer& peer, int number);
    bool answerNext(Peer& peer, int number);

    const Options options_;
    std::shared_ptr<void> tls_;
    int listener_ = -1;
    int port_ = 0;

    mutable std::mutex lock_;
    mutable std::condition_variable changed_;
    std::map<std::string, Behaviour> behaviours_;
    std::vector<Request> requests_;
    std::vector<std::shared_ptr<Peer>> peers_;
    std::vector<std::thread> threads_;
    bool ending_ = false;
    std::thread acceptor_;
};

/// Writes a key and its self-made certificate for 127.0.0.1 and localhost as "key.pem" and "certificate.pem"
/// to the folder.
LoopbackServer::Options makeTlsIdentity(const std::string& folder);
