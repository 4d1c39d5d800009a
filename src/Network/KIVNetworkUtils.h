#pragma once

#include <string>

#include "Platform/Text/Json.h"

/// Seconds without a byte after which a request that does not say otherwise fails.
inline constexpr double KIVNetworkUtils_defaultRequestTimeout = 60;

/// Small helps for requests. Callable from any thread.
class KIVNetworkUtils {
public:
    /// Sets "canticache" to a fresh random number, so that no cache on the way knows the request.
    static void addAntiCacheParameter(kiv::json::object& parameters);

    /// The same at the end of a URL's query.
    static std::string urlStringByAppendingAntiCacheParameter(const std::string& url);

    /// Sends a GET and ignores the answer. Returns at once.
    static void sendSimpleAsyncGetRequestToURL(const std::string& url);

    /// The URL with the parameters, which must be texts, after the items that its query has already.
    static std::string generateUrlWithParams(const std::string& url, const kiv::json::object& parameters);
};
