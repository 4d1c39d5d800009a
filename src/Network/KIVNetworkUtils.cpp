#include "Network/KIVNetworkUtils.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <string_view>

#include "Runtime/KIVDebugger.h"

namespace {

constexpr const char* antiCacheParameter = "canticache";

std::uint32_t antiCacheValue() { return std::random_device()(); }

/// Percent-encodes every byte except letters, digits and "-._~".
void appendEncoded(std::string& url, std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    for (const char c : text) {
        if (plain.find(c) != plain.npos) {
            url += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            url += '%';
            url += digits[byte >> 4U];
            url += digits[byte & 15U];
        }
    }
}

} // namespace

void KIVNetworkUtils::addAntiCacheParameter(kiv::json::object& parameters) {
    parameters[antiCacheParameter] = std::to_string(antiCacheValue());
}

std::string KIVNetworkUtils::urlStringByAppendingAntiCacheParameter(const std::string& url) {
    return kiv::format("%@%@%@=%u", url, url.find('?') == url.npos ? "?" : "&", antiCacheParameter,
                       antiCacheValue());
}

void KIVNetworkUtils::sendSimpleAsyncGetRequestToURL(const std::string& url) {
    kiv::sendHttpRequest(
        {.url = url, .idleTimeout = KIVNetworkUtils_defaultRequestTimeout, .ignoresCaches = true},
        [](const kiv::HttpResponse&) {});
}

std::string KIVNetworkUtils::generateUrlWithParams(const std::string& url,
                                                   const kiv::json::object& parameters) {
    if (parameters.empty()) {
        return url;
    }
    const std::size_t fragment = std::min(url.find('#'), url.size());
    std::string result = url.substr(0, fragment);
    char separator = result.find('?') == result.npos ? '?' : '&';
    if (result.ends_with('?')) {
        separator = '\0';
    }
    for (const auto& parameter : parameters) {
        if (separator != '\0') {
            result += separator;
        }
        separator = '&';
        appendEncoded(result, parameter.key());
        const auto* text = parameter.value().if_string();
        result += '=';
        appendEncoded(result, text ? std::string_view(*text) : std::string_view());
    }
    return result.append(url, fragment);
}
