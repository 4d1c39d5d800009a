#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include <curl/curl.h>

#include "Platform/Http/HostLookups.h"
#include "Platform/Http/HttpClient.h"
#include "Platform/System/Freer.h"

namespace kiv {

/// Takes the response: whole, when the request has ended, or in parts as they come.
using HttpSink = std::variant<std::function<void(HttpResponse response)>, HttpStreamHandlers>;

/// One request under way. Sets libcurl up for it, collects the response and calls the handlers. Used on the
/// network thread only, except for the constructor and `cancel`. Its time limits run in real time.
class HttpTransfer : public HttpTask {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// `wake` makes the network thread look at its transfers. `lookups` outlives the transfer.
    HttpTransfer(HttpRequest request, HttpSink sink, HostLookups& lookups, std::function<void()> wake);

    void cancel() override;

    /// Whether `cancel` was called.
    bool isCancelled() const { return cancelled_.load(); }

    /// Makes the handle for libcurl; null when the request cannot be performed, and then `failure` says why.
    CURL* prepare();
    CURL* handle() const { return handle_.get(); }

    /// Whether libcurl looks a host up for this transfer.
    bool isLookingUp() const { return lookups_.isUnderWay(this); }

    /// What to do with a transfer that libcurl has ended with `result`.
    enum class Ending {
        final,    ///< complete it
        again,    ///< add its handle again at once: it was refused a look-up that it does not need
        postponed ///< add its handle again when a look-up has ended: it was refused one
    };
    Ending endingOf(CURLcode result);

    const std::optional<TransportError>& failure() const { return failure_; }

    /// The instant at which the request reaches a limit if no byte is sent or received before. Nullopt when
    /// the request has no limit.
    std::optional<Instant> deadline() const;

    /// The error of a request that libcurl has ended with `result`; nullopt when it has succeeded.
    std::optional<TransportError> errorOf(CURLcode result) const;

    /// Calls the last handler, and releases all handlers. Frees the handle, which must have been removed from
    /// its multi handle, unless a look-up is under way: then libcurl ends the transfer when the look-up has
    /// ended.
    void complete(std::optional<TransportError> error);

    /// Frees the handle of a transfer that was completed during its look-up, which has ended.
    void lookupEnded();

private:
    HttpStreamHandlers* stream() { return std::get_if<HttpStreamHandlers>(&sink_); }
    bool addHeader(const std::string& line);
    bool addHeaders();
    void configureMethod();
    void configureCallbacks();

    /// Callbacks of libcurl, through which no exception may pass.
    static std::size_t onHeader(char* bytes, std::size_t, std::size_t size, void* self) noexcept;
    static std::size_t onBody(char* bytes, std::size_t, std::size_t size, void* self) noexcept;
    static int onProgress(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) noexcept;
    static int onLookup(void*, void*, void* self) noexcept;
    static curl_socket_t onSocket(void* self, curlsocktype, curl_sockaddr* address) noexcept;
    static int onConnected(void* self, char*, char*, int, int) noexcept;

    void readHeader(std::string_view line);
    void endHeaders();
    bool readBody(std::string_view bytes);
    bool tooLarge();
    bool isPost() const { return request_.method == "POST"; }
    bool mayLookUp();
    void freeHandle() {
        handle_.reset();
        headers_.reset();
    }
    bool continueAt(const std::string& url, long redirects);
    std::string currentUrl() const;
    void touch() { lastActivity_ = std::chrono::steady_clock::now(); }

    const HttpRequest request_;
    HttpSink sink_;
    HostLookups& lookups_;
    const std::function<void()> wake_;
    std::atomic<bool> cancelled_{false};

    std::unique_ptr<curl_slist, Freer<curl_slist_free_all>> headers_;
    std::unique_ptr<CURL, Freer<curl_easy_cleanup>> handle_; ///< destroyed before the headers, which it uses
    std::array<char, CURL_ERROR_SIZE> message_{};
    std::optional<TransportError> failure_;
    std::string proxy_;       ///< the host's; empty when it has none
    bool completed_ = false;  ///< the last handler was called
    bool wasRefused_ = false; ///< a look-up, since the handle was added
    bool lookupFree_ = false; ///< what is looked up next is an address
    HttpResponse response_;
    std::size_t headerBytes_ = 0;
    bool isHeadWhole_ = false;  ///< the headers of the present response have ended
    bool isLost_ = false;       ///< the connection of a POST broke before an answer came
    bool isUnanswered_ = false; ///< a request is under way, and nothing has come back yet
    long redirects_ = 0;        ///< that were followed before the handle was added again
    curl_off_t moved_ = 0;      ///< bytes of bodies that were sent and received
    Instant begun_{};
    Instant lastActivity_{};
};

} // namespace kiv
