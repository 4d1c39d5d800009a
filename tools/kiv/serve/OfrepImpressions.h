#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>

#include "Platform/Text/Json.h"
#include "serve/Journal.h"
#include "serve/Records.h"

namespace kiv::tool {

/// Stores the impressions of evaluations, many in one transaction, on the thread that uses the records. What
/// has been added is stored before that thread is joined.
class OfrepImpressions {
public:
    /// While more impressions than this wait to be stored, whoever makes more waits with them.
    static constexpr std::size_t enough = 20'000;

    /// `stored` is called on the thread that runs `io`, after impressions were stored.
    OfrepImpressions(boost::asio::io_context& io, boost::asio::thread_pool& worker, Records& records,
                     const Journal& journal, std::function<void()> stored);

    /// Adds the events of an upload. Calls `then` at once, or, when more than `enough` wait, once these are
    /// stored. Call it on the thread that runs `io`, which is also where it calls back.
    void add(const std::string& key, json::array events, std::function<void()> then);

private:
    void store();

    boost::asio::io_context& io_;
    boost::asio::thread_pool& worker_;
    Records& records_; ///< used by the worker alone
    const Journal& journal_;
    const std::function<void()> stored_;

    std::mutex lock_;                               ///< for the members below
    std::map<std::string, json::array> waiting_;    ///< by key
    std::size_t count_ = 0;                         ///< of the impressions in `waiting_`
    std::vector<std::function<void()>> afterwards_; ///< what to call once they are stored
};

} // namespace kiv::tool
