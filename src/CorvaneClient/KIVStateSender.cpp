#include "CorvaneClient/KIVStateSender.h"

#include <utility>

#include <boost/algorithm/string/replace.hpp>

#include "Platform/Host/UserDefaults.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Runtime/KIVDebugger.h"

namespace {

std::string textOf(const kiv::json::object& state, const char* key) {
    const auto* text = kiv::textMember(state, key);
    return text ? std::string(*text) : "(null)";
}

std::string keysOf(const kiv::json::object& state) {
    std::string keys;
    for (const auto& pair : state) {
        keys.append(keys.empty() ? "" : ", ").append(pair.key());
    }
    return keys;
}

/// The state with this send's own entries in place of the others.
kiv::json::object together(const kiv::json::object& state, const kiv::json::object& own) {
    kiv::json::object all = state;
    for (const auto& pair : own) {
        all[pair.key()] = pair.value();
    }
    return all;
}

} // namespace

KIVStateSender::KIVStateSender(std::shared_ptr<const KIVNetwork> network,
                               std::shared_ptr<const KIVURLBuilder> urlBuilder,
                               std::shared_ptr<const KIVDeviceProperties> deviceProps)
    : KIVStateSender(std::move(network), std::move(urlBuilder), std::move(deviceProps), std::nullopt) {}

KIVStateSender::KIVStateSender(std::shared_ptr<const KIVNetwork> network,
                               std::shared_ptr<const KIVURLBuilder> urlBuilder,
                               std::shared_ptr<const KIVDeviceProperties> deviceProps,
                               std::optional<std::string> sdkKey)
    : urlBuidler_(std::move(urlBuilder)), deviceProperties_(std::move(deviceProps)),
      network_(std::move(network)), dedicatedSDKKey_(std::move(sdkKey)) {
    KIV_DEBUG_LOG("KIVStateSender initialized with dedicated SDK key: %@",
                  dedicatedSDKKey_.value_or("nil (legacy mode)"));
}

std::optional<std::string> KIVStateSender::keyToSend() const {
    return dedicatedSDKKey_ ? dedicatedSDKKey_ : kiv::UserDefaults::standard().string("KIV_CURRENT_SDK_KEY");
}

void KIVStateSender::sendState(double timeout) const {
    deviceProperties_->syncAndUpdateDevicePropsAfterObjectChange();
    // Shared by all sends of this state; what differs for this one stands beside it.
    const auto state = deviceProperties_->allProperties();
    kiv::json::object own = {
        {KIVC_DEVICE_PROPERTIES_APP_KEY, textOf(*state, KIVC_DEVICE_PROPERTIES_APP_KEY)},
        {KIVC_DEVICE_PROPERTIES_STATE_MD5, textOf(*state, KIVC_DEVICE_PROPERTIES_STATE_MD5)}};
    const auto key = keyToSend();
    const std::string original = textOf(own, KIVC_DEVICE_PROPERTIES_APP_KEY);
    KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendState - Using SDK key: %@%@", key.value_or("(null)"),
                  sourceOfKey());
    KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendState - Original SDK key in props: %@", original);
    if (key && *key != original) {
        KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendState - Updating SDK key in properties from %@ to %@",
                      original, *key);
        own[KIVC_DEVICE_PROPERTIES_APP_KEY] = *key;
        // The hash is not made anew: the service knows the state by the one it has always had.
        const std::string hash = textOf(own, KIVC_DEVICE_PROPERTIES_STATE_MD5);
        if (!original.empty() && hash.find(original) != std::string::npos) {
            own[KIVC_DEVICE_PROPERTIES_STATE_MD5] = boost::replace_all_copy(hash, original, *key);
            KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendState - Updated stateMd5 with current SDK key: %@",
                          textOf(own, KIVC_DEVICE_PROPERTIES_STATE_MD5));
        }
    }
    KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendState - Full props keys: %@", keysOf(*state));
    KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendState - No flags in state");
    KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendState - Device properties: %@", kiv::compactJson(*state));
    const auto request = urlBuidler_->createNetworkStateCacheURL(own);
    if (!request) {
        KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendState - Skipped sending state to CDN (nil URL)");
        sendStateToApi(timeout, together(*state, own));
        return;
    }
    KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendState - Sending state %@ to CDN",
                  textOf(own, KIVC_DEVICE_PROPERTIES_STATE_MD5));
    KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendState - CDN URL: %@", request->url);
    network_->getJsonFromURL(
        *request, timeout,
        [self = shared_from_this(), timeout, state, own](const auto&, KIVNetworkError error) {
            if (error == KIVNetworkError::notFound) {
                self->sendStateToApi(timeout, together(*state, own));
            }
        },
        true, true);
}

void KIVStateSender::sendStateToApi(double timeout, kiv::json::object props) const {
    const auto key = keyToSend();
    const std::string original = textOf(props, KIVC_DEVICE_PROPERTIES_APP_KEY);
    KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendStateToApi - Using SDK key: %@%@", key.value_or("(null)"),
                  sourceOfKey());
    KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendStateToApi - SDK key in props: %@", original);
    if (key && *key != original) {
        KIV_DEBUG_LOG(
            "STATE_DEBUG: KIVStateSender.sendStateToApi - Updating SDK key in properties from %@ to %@",
            original, *key);
        props[KIVC_DEVICE_PROPERTIES_APP_KEY] = *key;
    }
    const auto request = urlBuidler_->createNetworkStateApiURL(props);
    if (!request) {
        KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendStateToApi - Skipped sending state to API (nil URL)");
        return;
    }
    KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendStateToApi - Sending state %@ to API",
                  textOf(props, KIVC_DEVICE_PROPERTIES_STATE_MD5));
    KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendStateToApi - API URL: %@", request->url);
    network_->getJsonFromURL(
        *request, timeout,
        [](const KIVConfigurationDataResult::Document& json, KIVNetworkError error) {
            if (error == KIVNetworkError::none) {
                KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendStateToApi - Successfully sent state to API");
                KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendStateToApi - Response: %@",
                              kiv::compactJson(*json));
            } else {
                KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendStateToApi - Failed sending state: %@",
                              static_cast<int>(error));
            }
        },
        false, true);
}
