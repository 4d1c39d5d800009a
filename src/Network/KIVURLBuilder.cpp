#include "Network/KIVURLBuilder.h"

#include <initializer_list>
#include <utility>

#include "Network/KIVNetworkUtils.h"
#include "Reporting/KIVDevicePropertyKeys.h"
#include "Runtime/KIVDebugger.h"

namespace {

using Properties = KIVURLBuilder::Properties;

std::string_view textOf(const Properties& properties, const char* key) {
    const auto* text = kiv::textMember(properties, key);
    return text ? std::string_view(*text) : std::string_view("(null)");
}

std::string pathOf(const std::optional<std::string>& endpoint,
                   std::initializer_list<std::string_view> parts) {
    std::string url = endpoint.value_or("(null)");
    for (const std::string_view part : parts) {
        url.append(1, '/').append(part);
    }
    return url;
}

std::string stateUrl(const std::optional<std::string>& endpoint, const Properties& properties) {
    return pathOf(endpoint, {textOf(properties, KIVC_DEVICE_PROPERTIES_APP_KEY),
                             textOf(properties, KIVC_DEVICE_PROPERTIES_STATE_MD5)});
}

KIVHttpRequestData requestOfState(std::string url, std::string method, std::optional<Properties> parameters) {
    KIVHttpRequestData request(std::move(url), std::move(method), std::move(parameters));
    request.mostAnswerBytes = kiv::mostStateAnswerBytes;
    return request;
}

} // namespace

KIVURLBuilder::KIVURLBuilder(std::shared_ptr<const KIVEnvironment> environment)
    : environment_(std::move(environment)) {}

std::optional<KIVHttpRequestData> KIVURLBuilder::createNetworkCacheURL(const Properties& properties) const {
    if (!environment_->getConfigCdnUrl()) {
        return std::nullopt;
    }
    Properties parameters;
    KIVNetworkUtils::addAntiCacheParameter(parameters);
    for (const char* key :
         {KIVC_DEVICE_PROPERTIES_DISTINCT_ID, KIVC_DEVICE_PROPERTIES_LIB_VERSION,
          KIVC_DEVICE_PROPERTIES_REAL_PLATFORM, KIVC_DEVICE_PROPERTIES_PLATFORM,
          KIVC_DEVICE_PROPERTIES_PLATFORM_VERSION, KIVC_DEVICE_PROPERTIES_LANGUAGE_VERSION}) {
        if (const auto* value = kiv::textMember(properties, key)) {
            parameters[key] = *value;
        }
    }
    return KIVHttpRequestData(getNetworkCacheURL(properties), "GET", std::move(parameters));
}

std::string KIVURLBuilder::getNetworkCacheURL(const Properties& properties) const {
    return pathOf(environment_->getConfigCdnUrl(),
                  {textOf(properties, KIVC_DEVICE_PROPERTIES_CACHE_MISS_RELATIVE_URL)});
}

std::optional<KIVHttpRequestData>
KIVURLBuilder::createRequestConfigurationURL(const Properties& properties) const {
    if (!environment_->getConfigApiUrl()) {
        return std::nullopt;
    }
    return KIVHttpRequestData(
        pathOf(environment_->getConfigApiUrl(), {textOf(properties, KIVC_DEVICE_PROPERTIES_APP_KEY),
                                                 textOf(properties, KIVC_DEVICE_PROPERTIES_BUID)}),
        "POST", properties);
}

std::optional<KIVHttpRequestData>
KIVURLBuilder::createNetworkStateCacheURL(const Properties& properties) const {
    if (!environment_->sendStateCdnUrl()) {
        return std::nullopt;
    }
    return requestOfState(getNetworkStateCacheURL(properties), "GET", std::nullopt);
}

std::string KIVURLBuilder::getNetworkStateCacheURL(const Properties& properties) const {
    return stateUrl(environment_->sendStateCdnUrl(), properties);
}

std::optional<KIVHttpRequestData>
KIVURLBuilder::createNetworkStateApiURL(const Properties& properties) const {
    if (!environment_->sendStateApiUrl()) {
        return std::nullopt;
    }
    Properties parameters;
    for (const char* key : {KIVC_DEVICE_PROPERTIES_STATE_MD5, KIVC_DEVICE_PROPERTIES_APP_KEY,
                            KIVC_DEVICE_PROPERTIES_FEATURE_FLAGS, KIVC_DEVICE_PROPERTIES_CUSTOM_PROPERTIES,
                            KIVC_DEVICE_PROPERTIES_PLATFORM, KIVC_DEVICE_PROPERTIES_DEV_MODE_SECRET}) {
        const kiv::json::value* value = kiv::member(properties, key);
        if (!value) {
            break;
        }
        parameters[key] = *value;
    }
    return requestOfState(stateUrl(environment_->sendStateApiUrl(), properties), "POST",
                          std::move(parameters));
}
