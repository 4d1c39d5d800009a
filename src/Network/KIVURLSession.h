#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "Platform/Http/HttpClient.h"
#include "Platform/Threads/Queues.h"

/// Runs the requests of one client, and can cancel them all. Callable from any thread.
class KIVURLSession {
public:
    using Completion = std::function<void(kiv::HttpResponse response)>;

    /// Starts a request. `completionHandler` is called once, on the session's queue; not at all once the
    /// session has been invalidated.
    void sendRequestWrapper(kiv::HttpRequest request, Completion completionHandler) const;

    /// Cancels the requests under way, and starts no further ones. Their completions are released, not
    /// called.
    void invalidateAndCancel() const;
    bool isInvalid() const { return state_->isInvalid; }

    /// The queue of the completions. Tasks that must not run at the same time as a completion go here too.
    kiv::SerialQueue& delegateQueue() const { return delegateQueue_; }

private:
    struct State {
        std::atomic<bool> isInvalid{false};
        std::mutex lock;
        std::vector<std::weak_ptr<kiv::HttpTask>> tasks; ///< all tasks under way, and some that have ended
    };

    const std::shared_ptr<State> state_ = std::make_shared<State>();
    mutable kiv::SerialQueue delegateQueue_;
};
