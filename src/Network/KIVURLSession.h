#pragma once

#include <functional>

#include "Platform/HttpClient.h"
#include "Platform/Queues.h"

/// The session that a client's requests run in. Callable from any thread.
class KIVURLSession {
public:
    using Completion = std::function<void(kiv::HttpResponse response)>;

    /// Starts a request. `completionHandler` is called once, on the session's queue.
    void sendRequestWrapper(kiv::HttpRequest request, Completion completionHandler) const;

    /// Where completions run, and whatever else is to run one after the other with them.
    kiv::SerialQueue& delegateQueue() const { return delegateQueue_; }

private:
    mutable kiv::SerialQueue delegateQueue_;
};
