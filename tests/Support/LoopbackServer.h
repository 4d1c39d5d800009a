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

/// An HTTP server on loopback that answers as the test decides, right or wrong. Each connection has its own
/// thread.
class LoopbackServer {
public:
    struct Request {
        std::string method;
        std::string target;                         ///< path and query
        std::map<std::string, std::string> headers; ///< names in lower case
        std::string body;
        int connection = 0; ///< number of the connection, from 1
    };

    /// What a behaviour can do with the client. Every operation returns early when the client hangs up or the
    /// server ends.
    class Connection {
    public:
        virtual ~Connection() = default;
        /// False when the client has hung up.
        virtual bool send(std::string_view bytes) = 0;
        /// Sends one byte after the other and waits for `interval` before each. False when it returns early.
        bool trickle(std::string_view bytes, std::chrono::milliseconds interval);
        /// Waits until the client hangs up or the server ends.
        virtual void stall() = 0;
        virtual void close() = 0;
        /// Resets the connection when the behaviour has returned: the client sees an error and no orderly
        /// end.
        virtual void reset() = 0;
        /// False when the server ends meanwhile.
        virtual bool wait(std::chrono::milliseconds duration) = 0;
    };

    /// Answers a request, on the connection's thread. The next request is read when it has returned.
    using Behaviour = std::function<void(const Request& request, Connection& connection)>;

    struct Options {
        /// PEM files. The server speaks TLS when they are given.
        std::string certificateFile = {};
        std::string keyFile = {};
        /// Reads only the heads of requests, never a body.
        bool ignoresBodies = false;
    };

    /// The server answers 404 to every path that has no behaviour.
    LoopbackServer() : LoopbackServer(Options()) {}
    explicit LoopbackServer(Options options);
    /// Closes all connections.
    ~LoopbackServer();

    /// Sets or replaces the behaviour of a path, which is a target without its query. The empty path stands
    /// for every path that has no behaviour.
    void on(const std::string& path, Behaviour behaviour);

    std::string url(const std::string& target = "/") const;
    int port() const { return port_; }

    std::vector<Request> requests() const;
    /// Waits until `count` requests have arrived in all. False when they do not arrive in time.
    bool waitForRequests(std::size_t count) const;
    /// How many connections were opened so far.
    int connections() const;

    /// The bytes of a response, with "Content-Length" among its headers.
    static std::string response(int status, std::string_view body,
                                const std::map<std::string, std::string>& headers = {});

    static Behaviour answer(int status, std::string body, std::map<std::string, std::string> headers = {});
    /// Sends the bytes unchanged, then hangs up.
    static Behaviour raw(std::string bytes);
    /// Sends `head`, then repeats `piece` until it has sent `size` bytes of it or the client hangs up.
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

/// Makes a key and a self-signed certificate for 127.0.0.1 and localhost, and writes them to the folder as
/// "key.pem" and "certificate.pem". Returns the options of a server that uses them.
LoopbackServer::Options makeTlsIdentity(const std::string& folder);
