#include "CorvaneClient/KIVStateSender.h"

#include <algorithm>
#include <utility>

#include <boost/algorithm/string/replace.hpp>

#include "Model/StoredKey.h"
#include "Platform/System/Clock.h"
#include "Platform/Threads/Fork.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Runtime/KIVDebugger.h"

std::atomic<float> KIV_SetStateDebounceTime{3.0F};

namespace {

std::chrono::steady_clock::duration debounceTime() {
    constexpr float longest = 1e6F;
    const float seconds = KIV_SetStateDebounceTime;
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<float>(seconds > 0 ? std::min(seconds, longest) : 0));
}

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

/// The state, with the members of `own` in place of the state's members of the same names.
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
    return dedicatedSDKKey_ ? dedicatedSDKKey_ : kiv::storedSDKKey();
}

void KIVStateSender::sendState(double timeout, Flight flight) const {
    deviceProperties_->syncAndUpdateDevicePropsAfterObjectChange();
    // All sends of this state share the document; `own` holds the two members that this send may change.
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
        // The hash is not computed again for the other key: the service knows the state by its first hash.
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
        sendStateToApi(timeout, together(*state, own), std::move(flight));
        return;
    }
    KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendState - Sending state %@ to CDN",
                  textOf(own, KIVC_DEVICE_PROPERTIES_STATE_MD5));
    KIV_DEBUG_LOG("STATE_DEBUG: KIVStateSender.sendState - CDN URL: %@", request->url);
    network_->getJsonFromURL(
        *request, timeout,
        [self = shared_from_this(), timeout, state, own, flight](const auto&, KIVNetworkError error) {
            if (error == KIVNetworkError::notFound) {
                self->sendStateToApi(timeout, together(*state, own), flight);
            }
        },
        true, true);
}

void KIVStateSender::sendStateToApi(double timeout, kiv::json::object props, Flight flight) const {
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
        [flight = std::move(flight)](const KIVConfigurationDataResult::Document& json,
                                     KIVNetworkError error) {
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

void KIVStateSender::sendStateSoon() {
    {
        const kiv::Lock lock(sendLock_);
        if (isSending_) {
            isSendWaiting_ = true;
            return;
        }
        isSending_ = true;
    }
    postSend();
}

void KIVStateSender::postSend() {
    network_->urlSession().delegateQueue().post([weak = weak_from_this()] {
        if (const auto sender = weak.lock()) {
            sender->sendState(0.0, Flight(nullptr, [weak](void*) {
                                  if (const auto present = weak.lock()) {
                                      present->sendEnded();
                                  }
                              }));
        }
    });
}

void KIVStateSender::sendEnded() {
    {
        const kiv::Lock lock(sendLock_);
        isSending_ = std::exchange(isSendWaiting_, false);
        if (!isSending_) {
            return;
        }
    }
    postSend();
}

bool KIVStateSender::debounceSendState(std::function<void()> send) {
    const auto now = kiv::Clock::current().monotonic();
    const kiv::WriterLock lock(debounceLock_);
    if (isStopped_ || isDebouncing_ || now <= cancelUntil_) {
        return false;
    }
    const auto wait = debounceTime();
    cancelUntil_ = now + wait;
    isDebouncing_ = true;
    debounceTimer_ = kiv::Timer(std::chrono::duration<double>(wait).count(), false,
                                [weak = weak_from_this(), send = std::move(send)] {
                                    if (const auto sender = weak.lock()) {
                                        const kiv::Lock timerLock(sender->debounceLock_);
                                        sender->isDebouncing_ = false;
                                    }
                                    kiv::postToMainQueue(send);
                                });
    return true;
}

void KIVStateSender::stop() {
    const kiv::WriterLock lock(debounceLock_);
    isStopped_ = true;
    debounceTimer_.cancel();
}
