#include "Platform/Http/HostLookups.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include <arpa/inet.h>
#include <curl/curl.h>

#include "Platform/System/Freer.h"
#include "Platform/Text/Text.h"

namespace kiv {

bool HostLookups::begin(const void* owner, std::string_view host) {
    end(owner);
    const bool shared = std::any_of(underWay_.begin(), underWay_.end(),
                                    [host](const auto& lookup) { return lookup.second == host; });
    if (shared || underWay_.size() >= most) {
        return false;
    }
    underWay_.emplace_back(owner, host);
    return true;
}

void HostLookups::end(const void* owner) {
    ended_ =
        std::erase_if(underWay_, [owner](const auto& lookup) { return lookup.first == owner; }) > 0 || ended_;
}

bool HostLookups::isUnderWay(const void* owner) const {
    return std::any_of(underWay_.begin(), underWay_.end(),
                       [owner](const auto& lookup) { return lookup.first == owner; });
}

bool needsNoLookup(std::string_view host) {
    const std::string name = lowercasedAscii(host);
    in_addr address{};
    return name.starts_with('[') || inet_pton(AF_INET, name.c_str(), &address) == 1 || name == "localhost" ||
           name.ends_with(".localhost");
}

std::string hostOfUrl(const std::string& url) {
    const std::unique_ptr<CURLU, Freer<curl_url_cleanup>> parts(curl_url());
    char* host = nullptr;
    if (!parts ||
        curl_url_set(parts.get(), CURLUPART_URL, url.c_str(),
                     CURLU_GUESS_SCHEME | CURLU_NON_SUPPORT_SCHEME) ||
        curl_url_get(parts.get(), CURLUPART_HOST, &host, 0)) {
        return {};
    }
    const std::unique_ptr<char, Freer<curl_free>> owned(host);
    return host;
}

std::string proxyOfEnvironment(std::string_view url) {
    const bool secure = lowercasedAscii(url.substr(0, 8)) == "https://";
    // libcurl does not ask for HTTP_PROXY either, which a web server sets to a header of its request.
    std::vector<const char*> names{"http_proxy"};
    if (secure) {
        names = {"https_proxy", "HTTPS_PROXY"};
    }
    names.insert(names.end(), {"all_proxy", "ALL_PROXY"});
    for (const char* name : names) {
        if (const char* value = std::getenv(name); value && *value) {
            return value;
        }
    }
    return {};
}

} // namespace kiv
