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

    void start(std::shared_ptr<HttpTransfer> transfer) {
        if (isSilentFork()) {
            return;
        }
        const std::lock_guard lock(lock_);
        waiting_.push_back(std::move(transfer));
        if (!started_) { // when the system has no thread to give, the next request tries again
            started_ = startLibraryThread(
                "kiv-network", [this] { run(); }, [this] { wake(); },
                // The thread ends at once when it gets to run; a machine under load may keep it from running.
                std::chrono::milliseconds(500));
        }
        wakeLocked();
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
            CURL* handle = transfer->isCancelled() ? nullptr : transfer->prepare();
            if (handle && curl_multi_add_handle(multi_, handle) == CURLM_OK) {
                active_.emplace(handle, std::move(transfer));
            } else {
                transfer->complete(handle ? transfer->errorOf(CURLE_OUT_OF_MEMORY) : transfer->failure());
            }
        }
    }

    void completeFinished() {
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
            if (message->msg == CURLMSG_DONE) {
                const CURLcode result = message->data.result;
                end(message->easy_handle,
                    [&](const HttpTransfer& transfer) { return transfer.errorOf(result); });
            }
        }
    }

    /// Ends the requests that were cancelled or have reached a limit. Returns the milliseconds until the next
    /// request may reach a limit, at most an hour.
    int endCancelledAndIdle() {
        using std::chrono::milliseconds;
        const Instant now = std::chrono::steady_clock::now();
        Instant next = now + std::chrono::hours(1);
        std::vector<CURL*> ending;
        for (const auto& [handle, transfer] : active_) {
            const auto deadline = transfer->deadline();
            if (transfer->isCancelled() || (deadline && *deadline <= now)) {
                ending.push_back(handle);
            } else if (deadline) {
                next = std::min(next, *deadline);
            }
        }
        for (CURL* handle : ending) {
            end(handle,
                [](const HttpTransfer& transfer) { return transfer.errorOf(CURLE_OPERATION_TIMEDOUT); });
        }
        return static_cast<int>(std::chrono::ceil<milliseconds>(next - now).count());
    }

    template <class ErrorOf>
    void end(CURL* handle, ErrorOf errorOf) {
        curl_multi_remove_handle(multi_, handle);
        const auto found = active_.find(handle);
        const std::shared_ptr<HttpTransfer> transfer = std::move(found->second);
        active_.erase(found);
        transfer->complete(errorOf(*transfer));
    }

    std::mutex lock_;
    std::vector<std::shared_ptr<HttpTransfer>> waiting_; ///< guarded by the lock
    CURLM* multi_ = nullptr;                             ///< written by the network thread under the lock
    bool started_ = false;                               ///< guarded by the lock
    std::unordered_map<CURL*, std::shared_ptr<HttpTransfer>> active_; ///< used on the network thread only
};

std::shared_ptr<HttpTask> start(HttpRequest request, HttpSink sink) {
    auto transfer =
        std::make_shared<HttpTransfer>(std::move(request), std::move(sink), [] { Network::shared().wake(); });
    Network::shared().start(transfer);
    return transfer;
}

} // namespace

std::shared_ptr<HttpTask> sendHttpRequest(HttpRequest request,
                                          std::function<void(HttpResponse response)> completion) {
    return start(std::move(request), std::move(completion));
}

std::shared_ptr<HttpTask> openHttpStream(HttpRequest request, HttpStreamHandlers handlers) {
    return start(std::move(request), std::move(handlers));
}

} // namespace kiv
