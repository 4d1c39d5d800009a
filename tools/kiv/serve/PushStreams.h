#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include "Platform/Http/HttpCall.h"

namespace kiv::tool {

/// The open push streams of all keys. Everything happens on the one thread that runs `io`.
class PushStreams {
public:
    /// Sends each stream a comment every `keepAlive`. `changed` is the event that `announce` sends: whole
    /// lines and the empty line after them, in static memory.
    PushStreams(boost::asio::io_context& io, std::chrono::milliseconds keepAlive,
                std::string_view changed = "event: changed\ndata: changed\n\n");
    ~PushStreams();

    /// Takes over a connection on which the server has sent the head of the answer. Keeps `ticket` as long as
    /// the connection is open, and calls `ended` after closing it.
    void add(const std::string& key, Socket socket, std::shared_ptr<void> ticket,
             std::function<void()> ended);

    /// Sends the event to the streams of the key, and returns how many there are. A stream that is still
    /// sending something sends the event afterwards, once.
    std::size_t announce(const std::string& key);

    std::size_t count(const std::string& key) const;

    /// Closes all streams, without calling their `ended`. For the end of the service: clients notice at once,
    /// however long the rest of it takes.
    void closeAll();

private:
    class Stream;

    void scheduleComment();
    void end(const std::shared_ptr<Stream>& stream);

    boost::asio::steady_timer timer_;
    std::chrono::milliseconds keepAlive_;
    std::string_view changed_;
    std::unordered_map<std::string, std::unordered_set<std::shared_ptr<Stream>>> streams_; ///< by key
};

} // namespace kiv::tool
