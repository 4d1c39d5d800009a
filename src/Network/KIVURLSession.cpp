#include "Network/KIVURLSession.h"

#include <utility>

#include "Platform/Threads/Fork.h"

void KIVURLSession::sendRequestWrapper(kiv::HttpRequest request, Completion completionHandler) const {
    const kiv::Lock lock(state_->lock);
    if (state_->isInvalid) {
        return;
    }
    std::erase_if(state_->tasks, [](const auto& task) { return task.expired(); });
    auto completion = [state = state_, queue = delegateQueue_,
                       completionHandler = std::move(completionHandler)](kiv::HttpResponse response) mutable {
        // The queue copies its tasks, so the task shares the response, which may be large.
        queue.post([state, completionHandler = std::move(completionHandler),
                    kept = std::make_shared<kiv::HttpResponse>(std::move(response))] {
            if (!state->isInvalid) {
                completionHandler(std::move(*kept));
            }
        });
    };
    state_->tasks.push_back(kiv::sendHttpRequest(std::move(request), std::move(completion)));
}

void KIVURLSession::invalidateAndCancel() const {
    std::vector<std::weak_ptr<kiv::HttpTask>> tasks;
    {
        const kiv::Lock lock(state_->lock);
        state_->isInvalid = true;
        tasks.swap(state_->tasks);
    }
    for (const auto& each : tasks) {
        if (const auto task = each.lock()) {
            task->cancel();
        }
    }
}
