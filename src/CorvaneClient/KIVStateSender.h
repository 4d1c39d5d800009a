#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Network/KIVNetwork.h"
#include "Network/KIVURLBuilder.h"

class KIVDeviceProperties;

/// Tells the service which flags and properties the application has registered: asks the state CDN whether it
/// knows the hash of the state, and posts the state to the API only when it does not. Each send is one
/// attempt, and keeps nothing for the next. Callable from any thread.
class KIVStateSender : public std::enable_shared_from_this<KIVStateSender> {
public:
    /// Sends for the key that is current for this installation ("KIV_CURRENT_SDK_KEY"), asked for at each
    /// send, else for the one of the device properties. No pointer may be null.
    KIVStateSender(std::shared_ptr<const KIVNetwork> network, std::shared_ptr<const KIVURLBuilder> urlBuilder,
                   std::shared_ptr<const KIVDeviceProperties> deviceProps);
    /// Sends for the given key, when there is one.
    KIVStateSender(std::shared_ptr<const KIVNetwork> network, std::shared_ptr<const KIVURLBuilder> urlBuilder,
                   std::shared_ptr<const KIVDeviceProperties> deviceProps, std::optional<std::string> sdkKey);

    /// Builds the state on this thread, which takes longer the more there is registered, and returns without
    /// waiting for the network. `timeout` is in seconds, 0 for the usual one.
    void sendState(double timeout) const;

    /// Posts the state without asking whether it is known.
    void sendStateToApi(double timeout, kiv::json::object props) const;

private:
    std::optional<std::string> keyToSend() const;
    const char* sourceOfKey() const { return dedicatedSDKKey_ ? " (dedicated)" : " (from UserDefaults)"; }

    const std::shared_ptr<const KIVURLBuilder> urlBuidler_;
    const std::shared_ptr<const KIVDeviceProperties> deviceProperties_;
    const std::shared_ptr<const KIVNetwork> network_;
    const std::optional<std::string> dedicatedSDKKey_;
};
