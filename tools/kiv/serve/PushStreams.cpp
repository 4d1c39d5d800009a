#include "serve/PushStreams.h"

#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>

namespace kiv::tool {
namespace {

namespace net = boost::asio;
using boost::system::error_code;

// The empty line ends the block, so that the client need not keep the comment until the next event.
constexpr std::string_view comment = ": here\n\n";

} // namespace

class PushStreams::Stream : public std::enable_shared_from_this<Stream> {
public:
    Stream(PushStreams& all, std::string key, Socket socket, std::shared_ptr<void> ticket,
           std::function<void()> ended)
        : key_(std::move(key)), all_(all), socket_(std::move(socket)), ticket_(std::move(ticket)),
          ended_(std::move(ended)) {}

    /// Sends a comment at once, because a proxy or client may hold back the head until something follows it.
    void start() {
        write(comment);
        watch();
    }

    void announce() {
        if (isWriting_) {
            isChanged_ = true;
        } else {
            write(all_.changed_);
        }
    }

    void keepAlive() {
        if (!isWriting_) {
            write(comment);
        } else if (std::exchange(isSlow_, true)) {
            end(); // the write that was under way at the last comment is still not done
        }
    }

    /// Closes the connection; a read or write that is under way ends with an error.
    void close() {
        error_code ignored;
        socket_.close(ignored);
        if (const auto ended = std::exchange(ended_, nullptr)) {
            ended();
        }
    }

    /// Closes the connection without calling `ended`.
    void drop() {
        ended_ = nullptr;
        close();
    }

    const std::string& key() const { return key_; }

private:
    /// Reads only to notice that the client has closed the connection. Drops what the client sends.
    void watch() {
        socket_.async_read_some(net::buffer(heard_),
                                [self = shared_from_this()](error_code problem, std::size_t) {
                                    problem ? self->end() : self->watch();
                                });
    }

    void write(std::string_view text) {
        isWriting_ = true;
        net::async_write(socket_, net::buffer(text),
                         [self = shared_from_this()](error_code problem, std::size_t) {
                             self->isWriting_ = self->isSlow_ = false;
                             if (problem) {
                                 self->end();
                             } else if (std::exchange(self->isChanged_, false)) {
                                 self->write(self->all_.changed_);
                             }
                         });
    }

    void end() {
        if (socket_.is_open()) {
            all_.end(shared_from_this());
        }
    }

    std::string key_;
    PushStreams& all_;
    Socket socket_;
    std::shared_ptr<void> ticket_;
    std::function<void()> ended_;
    std::array<char, 64> heard_{};
    bool isWriting_ = false;
    bool isChanged_ = false; ///< "changed" is to be sent after the present write
    bool isSlow_ = false;    ///< the present write was under way when the last comment was due
};

PushStreams::PushStreams(net::io_context& io, std::chrono::milliseconds keepAlive, std::string_view changed)
    : timer_(io), keepAlive_(keepAlive), changed_(changed) {
    scheduleComment();
}

PushStreams::~PushStreams() = default;

void PushStreams::add(const std::string& key, Socket socket, std::shared_ptr<void> ticket,
                      std::function<void()> ended) {
    error_code ignored;
    socket.set_option(net::socket_base::keep_alive(true), ignored);
    auto stream =
        std::make_shared<Stream>(*this, key, std::move(socket), std::move(ticket), std::move(ended));
    streams_[key].insert(stream);
    stream->start();
}

std::size_t PushStreams::announce(const std::string& key) {
    const auto found = streams_.find(key);
    if (found == streams_.end()) {
        return 0;
    }
    for (const auto& stream : found->second) {
        stream->announce();
    }
    return found->second.size();
}

std::size_t PushStreams::count(const std::string& key) const {
    const auto found = streams_.find(key);
    return found == streams_.end() ? 0 : found->second.size();
}

void PushStreams::closeAll() {
    for (const auto& [key, streams] : std::exchange(streams_, {})) {
        for (const auto& stream : streams) {
            stream->drop();
        }
    }
}

void PushStreams::scheduleComment() {
    timer_.expires_after(keepAlive_);
    timer_.async_wait([this](error_code stopped) {
        if (stopped) {
            return;
        }
        std::vector<std::shared_ptr<Stream>> all; // a copy, as a stream that ends leaves `streams_`
        for (const auto& [key, streams] : streams_) {
            all.insert(all.end(), streams.begin(), streams.end());
        }
        for (const auto& stream : all) {
            stream->keepAlive();
        }
        scheduleComment();
    });
}

void PushStreams::end(const std::shared_ptr<Stream>& stream) {
    const auto found = streams_.find(stream->key());
    found->second.erase(stream);
    if (found->second.empty()) {
        streams_.erase(found);
    }
    stream->close();
}

} // namespace kiv::tool
