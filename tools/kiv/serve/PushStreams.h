#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include "Platform/Http/HttpCall.h"

namespace kiv::tool {

/// The open push streams of all keys. Everything happens on the one thread that runs `io`.
class PushStreams {
public:
    /// Each stream hears a comment as often as `keepAlive` says.
    PushStreams(boost::asio::io_context& io, std::chrono::milliseconds keepAlive);
    ~PushStreams();

    /// Takes over a connection, whose head has been sent. `ended` is called when it has ended.
    void add(const std::string& key, Socket socket, std::shared_ptr<void> ticket,
             std::function<void()> ended);

    /// Tells the streams of the key that its document has changed. Returns how many there are. A stream that
    /// is still busy sending hears it once, afterwards.
    std::size_t announce(const std::string& key);

    std::size_t count(const std::string& key) const;

private:
    class Stream;

    void scheduleComment();
    void end(const std::shared_ptr<Stream>& stream);

    boost::asio::steady_timer timer_;
    std::chrono::milliseconds keepAlive_;
    std::unordered_map<std::string, std::unordered_set<std::shared_ptr<Stream>>> streams_; ///< by key
};

} // namespace kiv::tool
