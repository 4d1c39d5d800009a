#include "Analytics/KIVSEGHTTPClient.h"

#include <algorithm>
#include <chrono>
#include <optional>

#include <strings.h>

#include "Analytics/KIVSEGAnalytics.h"
#include "Analytics/KIVSEGLog.h"
#include "KIVBuildConfig.h"
#include "Platform/Crypto/Base64.h"
#include "Platform/System/Clock.h"
#include "Platform/Threads/Fork.h"
#include "Runtime/Failure.h"

namespace {

using Headers = std::vector<std::pair<std::string, std::string>>;

const char* const productLabel = "kiv";

auto findHeader(Headers& headers, const std::string& name) {
    return std::ranges::find_if(
        headers, [&](const auto& each) { return strcasecmp(each.first.c_str(), name.c_str()) == 0; });
}

void setHeader(Headers& headers, const std::string& name, const std::string& value) {
    if (const auto found = findHeader(headers, name); found != headers.end()) {
        found->second = value;
    } else {
        headers.emplace_back(name, value);
    }
}

void addHeaders(Headers& headers, const Headers& additional) {
    for (const auto& header : additional) {
        if (findHeader(headers, header.first) == headers.end()) {
            headers.push_back(header);
        }
    }
}

constexpr const char* uploadMethod = "POST";

double millisecondsSince1970() {
    using Milliseconds = std::chrono::duration<double, std::milli>;
    return Milliseconds(kiv::Clock::current().now().time_since_epoch()).count();
}

kiv::json::array propertiesOf(const kiv::json::object& batch) {
    kiv::json::array all;
    if (const kiv::json::array* events = kiv::arrayMember(batch, "batch")) {
        all.reserve(events->size());
        for (const kiv::json::value& event : *events) {
            const kiv::json::value* properties = kiv::member(event, "properties");
            if (properties && properties->is_object()) {
                all.push_back(*properties);
            }
        }
    }
    return all;
}

/// The body of the upload; nullopt when an event holds a number that JSON cannot express.
std::optional<std::string> bodyOf(const kiv::json::object& batch, const KIVDeviceProperties& device) {
    const kiv::json::value body = kiv::json::object{
        {"analyticsVersion", "1.0.0"},     {"sdkVersion", kiv::build::version},
        {"time", millisecondsSince1970()}, {"platform", device.platform()},
        {"corvaneKey", device.appKey()},   {"events", propertiesOf(batch)},
    };
    return kiv::isJson(body) ? std::optional(kiv::compactJson(body)) : std::nullopt;
}

/// Whether the events are to be sent again after this outcome.
bool isToBeRetried(const kiv::HttpResponse& response) {
    if (response.error) {
        KIV_SEG_LOG("Error uploading request %@.", response.error->description);
        return true;
    }
    const int status = response.status;
    if (response.method != uploadMethod) {
        KIV_SEG_LOG("A redirect turned the upload into a %@ without the events, answered with HTTP code %d.",
                    response.method, status);
        return true;
    }
    if (status < 300) {
        return false;
    }
    if (status < 400) {
        KIV_SEG_LOG("Server responded with unexpected HTTP code %d.", status);
        return true;
    }
    if (status == 429) {
        KIV_SEG_LOG("Server limited client with response code %d.", status);
        return true;
    }
    if (status >= 500) {
        KIV_SEG_LOG("Server error with HTTP code %d.", status);
        return true;
    }
    KIV_SEG_LOG("Server rejected payload with HTTP code %d.", status);
    return false;
}

} // namespace

KIVSEGHTTPClient::KIVSEGHTTPClient(KIVSEGRequestFactory requestFactory,
                                   std::shared_ptr<const KIVDeviceProperties> deviceProperties)
    : requestFactory_(requestFactory ? std::move(requestFactory) : defaultRequestFactory()),
      deviceProperties_(std::move(deviceProperties)),
      genericSession_{{{"Accept-Encoding", "gzip"},
                       {"User-Agent", "analytics-ios/" + std::string(KIVSEGAnalytics::version())}}} {}

KIVSEGRequestFactory KIVSEGHTTPClient::defaultRequestFactory() {
    return [](const std::string& url) { return kiv::HttpRequest{.url = url}; };
}

std::string KIVSEGHTTPClient::authorizationHeader(std::string_view writeKey) {
    return "Basic " + kiv::encodeBase64(std::string(writeKey) + ":");
}

const KIVSEGHTTPSession& KIVSEGHTTPClient::sessionForWriteKey(const std::string& writeKey) {
    const kiv::Lock lock(lock_);
    const auto [session, isNew] = sessionsByWriteKey_.try_emplace(writeKey);
    if (isNew) {
        session->second.additionalHeaders = {
            {"Content-Type", "application/json"},
            {"User-Agent", std::string(productLabel) + "/" + kiv::build::version}};
    }
    return session->second;
}

std::shared_ptr<kiv::HttpTask> KIVSEGHTTPClient::upload(const kiv::json::object& batch,
                                                        const std::string& analyticsUrl,
                                                        const std::string& writeKey,
                                                        std::function<void(bool retry)> completionHandler) {
    const std::string url = analyticsUrl + "/impression/" + deviceProperties_->appKey();
    kiv::HttpRequest request;
    if (const auto failure = kiv::failureOf([&] { request = requestFactory_(url); })) {
        KIV_SEG_LOG("Error uploading request %@.", failure->what());
        completionHandler(true);
        return nullptr;
    }
    auto body = bodyOf(batch, *deviceProperties_);
    if (!body) {
        KIV_SEG_LOG("Error serializing JSON for batch upload %@", "a number is infinite or none");
        completionHandler(false);
        return nullptr;
    }
    request.method = uploadMethod;
    request.body = std::move(*body);
    request.totalTimeout = longestUpload;
    setHeader(request.headers, "Content-Type", "application/json");
    addHeaders(request.headers, sessionForWriteKey(writeKey).additionalHeaders);
    // The outcome is logged, and the application's log sink must not hold up the network thread.
    return kiv::sendHttpRequest(std::move(request),
                                [queue = completionQueue_, completionHandler = std::move(completionHandler)](
                                    const kiv::HttpResponse& response) mutable {
                                    queue.post([outcome = kiv::HttpResponse{.status = response.status,
                                                                            .method = response.method,
                                                                            .error = response.error},
                                                completionHandler = std::move(completionHandler)] {
                                        completionHandler(isToBeRetried(outcome));
                                    });
                                });
}
