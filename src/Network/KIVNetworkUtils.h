#pragma once

#include <string>

#include "Platform/Http/HttpClient.h"
#include "Platform/Text/Json.h"

/// Idle limit, in seconds, of a request that sets no limit of its own: the request fails when no byte is sent
/// or received for this long.
inline constexpr double KIVNetworkUtils_defaultRequestTimeout = kiv::HttpRequest::defaultIdleTimeout;

/// Helpers for requests. Callable from any thread.
class KIVNetworkUtils {
public:
    /// Sets "canticache" to a fresh random number, so that no cache on the way has an answer to the request.
    static void addAntiCacheParameter(kiv::json::object& parameters);

    /// The URL with a fresh "canticache" added to the end of its query.
    static std::string urlStringByAppendingAntiCacheParameter(const std::string& url);

    /// Sends a GET and ignores the answer. Returns at once.
    static void sendSimpleAsyncGetRequestToURL(const std::string& url);

    /// The URL with the parameters, whose values must be texts, added to the end of its query.
    static std::string generateUrlWithParams(const std::string& url, const kiv::json::object& parameters);
};
