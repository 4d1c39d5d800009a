#include "serve/OfrepImpressions.h"

#include <utility>

#include <boost/asio/post.hpp>

#include "Terminal.h"

namespace kiv::tool {

namespace net = boost::asio;

OfrepImpressions::OfrepImpressions(net::io_context& io, net::thread_pool& worker, Records& records,
                                   const Journal& journal, std::function<void()> stored)
    : io_(io), worker_(worker), records_(records), journal_(journal), stored_(std::move(stored)) {}

void OfrepImpressions::add(const std::string& key, json::array events, std::function<void()> then) {
    if (events.empty()) {
        return then();
    }
    bool isFirst = false;
    bool isEnough = false;
    {
        const std::lock_guard lock(lock_);
        isFirst = std::exchange(count_, count_ + events.size()) == 0;
        isEnough = count_ > enough;
        json::array& waiting = waiting_[key];
        for (json::value& event : events) {
            waiting.push_back(std::move(event));
        }
        if (isEnough) {
            afterwards_.push_back(std::move(then));
        }
    }
    if (isFirst) {
        net::post(worker_, [this] { store(); });
    }
    if (!isEnough) {
        then();
    }
}

void OfrepImpressions::store() {
    std::map<std::string, json::array> uploads;
    std::vector<std::function<void()>> afterwards;
    {
        const std::lock_guard lock(lock_);
        uploads = std::exchange(waiting_, {});
        afterwards = std::exchange(afterwards_, {});
        count_ = 0;
    }
    std::string failure;
    for (auto& [key, events] : uploads) {
        try {
            records_.keepImpressions(key, {{"platform", "OFREP"}, {"events", std::move(events)}});
        } catch (const std::exception& problem) {
            failure = problem.what();
        }
    }
    net::post(io_, [this, failure, afterwards = std::move(afterwards)] {
        if (!failure.empty()) {
            journal_.told(Terminal::Style::error, "impressions cannot be stored: " + failure);
        }
        stored_();
        for (const auto& next : afterwards) {
            next();
        }
    });
}

} // namespace kiv::tool
