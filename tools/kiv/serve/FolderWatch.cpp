#include "serve/FolderWatch.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include <sys/inotify.h>

#include <boost/asio/buffer.hpp>

#include "Command.h"

namespace kiv::tool {
namespace {

namespace net = boost::asio;
using boost::system::error_code;

// IN_MODIFY and IN_CREATE are left out: a file that is being written counts as changed when its writer closes
// it, or when it is renamed into the folder.
constexpr std::uint32_t contents =
    IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE | IN_ATTRIB | IN_ONLYDIR;
constexpr std::uint32_t folderItself = IN_DELETE_SELF | IN_MOVE_SELF;

int watching(const std::string& path) {
    const int descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (descriptor < 0 || inotify_add_watch(descriptor, path.c_str(), contents | folderItself) < 0) {
        const int problem = errno;
        if (descriptor >= 0) {
            ::close(descriptor);
        }
        throw BadInput(path + ": cannot be watched: " + std::strerror(problem));
    }
    return descriptor;
}

} // namespace

FolderWatch::FolderWatch(net::io_context& io, const std::string& path, std::function<void()> changed,
                         std::function<void()> gone)
    : events_(io, watching(path)), moment_(io), changed_(std::move(changed)), gone_(std::move(gone)) {
    read();
}

void FolderWatch::read() {
    events_.async_read_some(net::buffer(buffer_), [this](error_code problem, std::size_t size) {
        if (!problem) {
            look(size);
            read();
        }
    });
}

void FolderWatch::look(std::size_t size) {
    for (std::size_t at = 0; at + sizeof(inotify_event) <= size;) {
        inotify_event event{};
        std::memcpy(&event, buffer_.data() + at, sizeof event);
        at += sizeof event + event.len;
        if (event.mask & folderItself) {
            gone_();
        } else if (!(event.mask & IN_IGNORED)) {
            tellSoon();
        }
    }
}

void FolderWatch::tellSoon() {
    constexpr std::chrono::milliseconds aMoment{50};
    if (std::exchange(isTelling_, true)) {
        return;
    }
    moment_.expires_after(aMoment);
    moment_.async_wait([this](error_code stopped) {
        if (!stopped) {
            isTelling_ = false;
            changed_();
        }
    });
}

} // namespace kiv::tool
