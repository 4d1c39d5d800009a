#include "Platform/Http/HttpClient.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <utility>

#include "Platform/Http/HttpTransfer.h"
#include "Platform/Threads/Fork.h"
#include "Platform/Threads/LibraryThread.h"

namespace kiv {
namespace {

using Instant = HttpTransfer::Instant;

/// The network thread and the requests it performs.
class Network {
public:
    static Network& shared() {
        static auto& network = *new PerProcess<Network>(std::make_unique<Network>);
        return network.get();
    }

    std::shared_ptr<HttpTask> start(HttpRequest request, HttpSink sink) {
        auto transfer = std::make_shared<HttpTransfer>(std::move(request), std::move(sink), lookups_,
                                                       [] { shared().wake(); });
        if (isSilentFork()) {
            return transfer;
        }
        const std::lock_guard lock(lock_);
        waiting_.push_back(transfer);
        if (!started_) { // when the system has no thread to give, the next request tries again
            started_ = startLibraryThread(
                "kiv-network", [this] { run(); }, [this] { wake(); },
                // The thread ends at once when it gets to run; a machine under load may keep it from running.
                std::chrono::milliseconds(500));
        }
        wakeLocked();
        return transfer;
    }

    void wake() {
        const std::lock_guard lock(lock_);
        wakeLocked();
    }

private:
    void wakeLocked() {
        if (multi_) {
            curl_multi_wakeup(multi_);
        }
    }

    void run() {
        curl_global_init(CURL_GLOBAL_DEFAULT);
        CURLM* const multi = curl_multi_init();
        // Requests beyond these numbers wait, so that enough of the process's file descriptors are left for
        // the application.
        curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, 12L);
        curl_multi_setopt(multi, CURLMOPT_MAX_TOTAL_CONNECTIONS, 32L);
        {
            const std::lock_guard lock(lock_);
            multi_ = multi;
        }
        while (!processIsEnding()) {
            startWaiting();
            int running = 0;
            curl_multi_perform(multi, &running);
            completeFinished();
            retryPostponed();
            const int patience = endCancelledAndIdle();
            if (curl_multi_poll(multi, nullptr, 0, patience, nullptr) != CURLM_OK) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10)); // out of memory: tries again
            }
        }
    }

    void startWaiting() {
        std::vector<std::shared_ptr<HttpTransfer>> starting;
        {
            const std::lock_guard lock(lock_);
            starting.swap(waiting_);
        }
        for (auto& transfer : starting) {
            if (!transfer->isCancelled() && transfer->prepare()) {
                add(std::move(transfer));
            } else {
                transfer->complete(transfer->failure());
            }
        }
    }

    void add(std::shared_ptr<HttpTransfer> transfer) {
        CURL* handle = transfer->handle();
        if (curl_multi_add_handle(multi_, handle) == CURLM_OK) {
            active_.emplace(handle, std::move(transfer));
        } else {
            transfer->complete(transfer->errorOf(CURLE_OUT_OF_MEMORY));
        }
    }

    void completeFinished() {
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
            if (message->msg == CURLMSG_DONE) {
                finish(message->easy_handle, message->data.result);
            }
        }
    }

    /// Takes a request that libcurl has ended with `result`.
    void finish(CURL* handle, CURLcode result) {
        curl_multi_remove_handle(multi_, handle);
        if (const auto abandoned = abandoned_.extract(handle)) {
            abandoned.mapped()->lookupEnded();
            return;
        }
        const auto found = active_.find(handle);
        std::shared_ptr<HttpTransfer> transfer = std::move(found->second);
        active_.erase(found);
        switch (transfer->endingOf(result)) {
        case HttpTransfer::Ending::final:
            transfer->complete(transfer->errorOf(result));
            break;
        case HttpTransfer::Ending::again:
            add(std::move(transfer));
            break;
        case HttpTransfer::Ending::postponed:
            postponed_.push_back(std::move(transfer));
            break;
        }
    }

    void retryPostponed() {
        if (lookups_.takeEnded()) {
            for (auto& transfer : std::exchange(postponed_, {})) {
                add(std::move(transfer));
            }
        }
    }

    /// Ends the requests that were cancelled or have reached a limit. Returns the milliseconds until the next
    /// request may reach a limit, at most an hour.
    int endCancelledAndIdle() {
        using std::chrono::milliseconds;
        const Instant now = std::chrono::steady_clock::now();
        Instant next = now + std::chrono::hours(1);
        std::vector<std::shared_ptr<HttpTransfer>> ending;
        const auto endsNow = [&](const std::shared_ptr<HttpTransfer>& transfer) {
            const auto deadline = transfer->deadline();
            const bool ends = transfer->isCancelled() || (deadline && *deadline <= now);
            if (ends) {
                ending.push_back(transfer);
            } else if (deadline) {
                next = std::min(next, *deadline);
            }
            return ends;
        };
        std::erase_if(postponed_, endsNow);
        for (const auto& [handle, transfer] : active_) {
            endsNow(transfer);
        }
        for (const auto& transfer : ending) {
            stop(transfer);
            transfer->complete(transfer->errorOf(CURLE_OPERATION_TIMEDOUT));
        }
        return static_cast<int>(std::chrono::ceil<milliseconds>(next - now).count());
    }

    /// Takes a request from libcurl. A look-up cannot be stopped: libcurl keeps its request until it has
    /// ended.
    void stop(const std::shared_ptr<HttpTransfer>& transfer) {
        CURL* handle = transfer->handle();
        if (active_.erase(handle) == 0) {
            return;
        }
        if (transfer->isLookingUp()) {
            abandoned_.emplace(handle, transfer);
        } else {
            curl_multi_remove_handle(multi_, handle);
        }
    }

    std::mutex lock_;
    std::vector<std::shared_ptr<HttpTransfer>> waiting_; ///< guarded by the lock
    CURLM* multi_ = nullptr;                             ///< written by the network thread under the lock
    bool started_ = false;                               ///< guarded by the lock

    // What follows is used on the network thread only.
    HostLookups lookups_;
    std::unordered_map<CURL*, std::shared_ptr<HttpTransfer>> active_;
    std::vector<std::shared_ptr<HttpTransfer>> postponed_; ///< wait for a look-up of others to end
    std::unordered_map<CURL*, std::shared_ptr<HttpTransfer>> abandoned_; ///< completed during their look-up
};

} // namespace

std::shared_ptr<HttpTask> sendHttpRequest(HttpRequest request,
                                          std::function<void(HttpResponse response)> completion) {
    return Network::shared().start(std::move(request), std::move(completion));
}

std::shared_ptr<HttpTask> openHttpStream(HttpRequest request, HttpStreamHandlers handlers) {
    return Network::shared().start(std::move(request), std::move(handlers));
}

} // namespace kiv
