#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Http/HttpClient.h"
#include "Platform/Text/Json.h"
#include "Platform/Threads/Queues.h"
#include "Reporting/KIVDeviceProperties.h"

/// Makes the request for a URL.
using KIVSEGRequestFactory = std::function<kiv::HttpRequest(const std::string& url)>;

/// Headers that the requests of a session share. A request's own header wins over a header of the same name.
struct KIVSEGHTTPSession {
    std::vector<std::pair<std::string, std::string>> additionalHeaders;
};

/// Sends batches of events to the impression endpoint. Callable from any thread. Uploads under way outlive
/// the client, and their completions are called.
class KIVSEGHTTPClient {
public:
    /// The longest time of an upload, in seconds. Without this limit, a service that takes or sends a byte
    /// now and then would hold an upload open for ever.
    static constexpr double longestUpload = 300;

    /// When `requestFactory` is empty, the client uses `defaultRequestFactory`.
    KIVSEGHTTPClient(KIVSEGRequestFactory requestFactory,
                     std::shared_ptr<const KIVDeviceProperties> deviceProperties);

    /// Makes a plain request for the URL.
    static KIVSEGRequestFactory defaultRequestFactory();

    /// The value of an "Authorization" header, which uploads do not send.
    static std::string authorizationHeader(std::string_view writeKey);

    /// The session of that key, made by the first call. All sessions live as long as the client.
    const KIVSEGHTTPSession& sessionForWriteKey(const std::string& writeKey);
    const KIVSEGHTTPSession& genericSession() const { return genericSession_; }

    /// Posts the "properties" of each event of the batch's "batch" to ANALYTICS-URL/impression/SDK-KEY. An
    /// event without "properties" is left out. The completion is called once, on the work thread, and must
    /// not throw or wait; `retry` says that the events are to be sent again, as after an upload that took
    /// longer than `longestUpload`. When no body or request can be made, this calls the completion and then
    /// returns null.
    std::shared_ptr<kiv::HttpTask> upload(const kiv::json::object& batch, const std::string& analyticsUrl,
                                          const std::string& writeKey,
                                          std::function<void(bool retry)> completionHandler);

private:
    const KIVSEGRequestFactory requestFactory_;
    const std::shared_ptr<const KIVDeviceProperties> deviceProperties_;
    const KIVSEGHTTPSession genericSession_;
    const kiv::SerialQueue completionQueue_;
    std::mutex lock_;
    std::map<std::string, KIVSEGHTTPSession> sessionsByWriteKey_; ///< guarded by the lock
};
