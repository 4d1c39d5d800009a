#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "Platform/Http/HttpClient.h"
#include "Platform/Threads/Queues.h"

/// The session that a client's requests run in. Callable from any thread.
class KIVURLSession {
public:
    using Completion = std::function<void(kiv::HttpResponse response)>;

    /// Starts a request. `completionHandler` is called once, on the session's queue; not at all once the
    /// session has been invalidated.
    void sendRequestWrapper(kiv::HttpRequest request, Completion completionHandler) const;

    /// No request starts any more, and those under way are cancelled: what their completions hold goes.
    void invalidateAndCancel() const;
    bool isInvalid() const { return state_->isInvalid; }

    /// Where completions run, and whatever else is to run one after the other with them.
    kiv::SerialQueue& delegateQueue() const { return delegateQueue_; }

private:
    struct State {
        std::atomic<bool> isInvalid{false};
        std::mutex lock;
        std::vector<std::weak_ptr<kiv::HttpTask>> tasks; ///< under way, and some that have ended
    };

    const std::shared_ptr<State> state_ = std::make_shared<State>();
    mutable kiv::SerialQueue delegateQueue_;
};
