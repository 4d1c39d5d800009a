#include "serve/OfrepImpressions.h"

#include <utility>

#include <boost/asio/post.hpp>

#include "Terminal.h"

namespace kiv::tool {

namespace net = boost::asio;

OfrepImpressions::OfrepImpressions(net::io_context& io, net::thread_pool& worker, Records& records,
                                   const Journal& journal, std::function<void()> stored)
    : io_(io), worker_(worker), records_(records), journal_(journal), stored_(std::move(stored)) {}

void OfrepImpressions::add(const std::string& key, json::array events) {
    if (events.empty()) {
        return;
    }
    const std::lock_guard lock(lock_);
    if (count_ + events.size() > most) {
        journal_.told(Terminal::Style::warning, key + ": " + counted(events.size(), "impression") +
                                                    " dropped, as they come faster than they can be stored");
        return;
    }
    const bool isFirst = std::exchange(count_, count_ + events.size()) == 0;
    json::array& waiting = waiting_[key];
    for (json::value& event : events) {
        waiting.push_back(std::move(event));
    }
    if (isFirst) {
        net::post(worker_, [this] { store(); });
    }
}

void OfrepImpressions::store() {
    std::map<std::string, json::array> uploads;
    {
        const std::lock_guard lock(lock_);
        uploads = std::exchange(waiting_, {});
        count_ = 0;
    }
    for (auto& [key, events] : uploads) {
        try {
            records_.keepImpressions(key, {{"platform", "OFREP"}, {"events", std::move(events)}});
        } catch (const std::exception& problem) {
            net::post(io_, [this, text = "impressions cannot be stored: " + std::string(problem.what())] {
                journal_.told(Terminal::Style::error, text);
            });
        }
    }
    net::post(io_, stored_);
}

} // namespace kiv::tool
