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

    /// `wake` makes the network thread look at its transfers.
    HttpTransfer(HttpRequest request, HttpSink sink, std::function<void()> wake);

    void cancel() override;

    /// Whether `cancel` was called.
    bool isCancelled() const { return cancelled_.load(); }

    /// Makes the handle for libcurl; null when the request cannot be performed, and then `failure` says why.
    CURL* prepare();
    CURL* handle() const { return handle_.get(); }
    const std::optional<TransportError>& failure() const { return failure_; }

    /// The instant at which the request reaches a limit if no byte is sent or received before. Nullopt when
    /// the request has no limit.
    std::optional<Instant> deadline() const;

    /// The error of a request that libcurl has ended with `result`; nullopt when it has succeeded.
    std::optional<TransportError> errorOf(CURLcode result) const;

    /// Frees the handle, which must have been removed from its multi handle. Then calls the last handler, and
    /// releases all handlers.
    void complete(std::optional<TransportError> error);

private:
    HttpStreamHandlers* stream() { return std::get_if<HttpStreamHandlers>(&sink_); }
    bool addHeader(const std::string& line);
    bool addHeaders();
    void configureMethod();
    void configureConnection();
    void configureCallbacks();

    /// Callbacks of libcurl, through which no exception may pass.
    static std::size_t onHeader(char* bytes, std::size_t, std::size_t size, void* self) noexcept;
    static std::size_t onBody(char* bytes, std::size_t, std::size_t size, void* self) noexcept;
    static int onProgress(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) noexcept;
    static int onConnected(void* self, char*, char*, int, int) noexcept;

    void readHeader(std::string_view line);
    void endHeaders();
    bool readBody(std::string_view bytes);
    bool tooLarge();
    bool isPost() const { return request_.method == "POST"; }
    void touch() { lastActivity_ = std::chrono::steady_clock::now(); }

    const HttpRequest request_;
    HttpSink sink_;
    const std::function<void()> wake_;
    std::atomic<bool> cancelled_{false};

    std::unique_ptr<curl_slist, Freer<curl_slist_free_all>> headers_;
    std::unique_ptr<CURL, Freer<curl_easy_cleanup>> handle_; ///< destroyed before the headers, which it uses
    std::array<char, CURL_ERROR_SIZE> message_{};
    std::optional<TransportError> failure_;
    HttpResponse response_;
    std::size_t headerBytes_ = 0;
    bool isLost_ = false;       ///< the connection of a POST broke before an answer came
    bool isUnanswered_ = false; ///< a request is under way, and nothing has come back yet
    curl_off_t moved_ = 0;      ///< bytes of bodies that were sent and received
    Instant begun_{};
    Instant lastActivity_{};
};

} // namespace kiv
