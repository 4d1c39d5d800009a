#pragma once

#include <array>
#include <functional>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>

namespace kiv::tool {

/// Watches a folder, and reports when files in it were written, added, renamed or removed. Changes within 50
/// milliseconds are reported once. Calls back on the thread that runs `io`.
class FolderWatch {
public:
    /// `changed` is called after changes, `gone` when the folder itself was removed or renamed. Throws
    /// `BadInput` when the folder cannot be watched.
    FolderWatch(boost::asio::io_context& io, const std::string& path, std::function<void()> changed,
                std::function<void()> gone);

private:
    void read();
    void look(std::size_t size);
    void tellSoon();

    boost::asio::posix::stream_descriptor events_;
    boost::asio::steady_timer moment_;
    std::function<void()> changed_;
    std::function<void()> gone_;
    bool isTelling_ = false;
    alignas(8) std::array<char, 1U << 14> buffer_{};
};

} // namespace kiv::tool
