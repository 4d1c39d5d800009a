#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "Network/KIVNetwork.h"
#include "Network/KIVURLBuilder.h"
#include "Platform/Threads/Queues.h"

class KIVDeviceProperties;

/// How long, in seconds, added properties are collected before the state is sent.
extern std::atomic<float> KIV_SetStateDebounceTime;

/// Tells the service which flags and properties the application has registered: asks the state CDN whether it
/// knows the hash of the state, and posts the state to the API only when the CDN does not. Each send is one
/// attempt; a failed send is not repeated. Callable from any thread.
class KIVStateSender : public std::enable_shared_from_this<KIVStateSender> {
public:
    /// Sends for the key that this installation has stored at the time of the send (`kiv::storedSDKKey`), or
    /// for the key of the device properties when none is stored. No pointer may be null.
    KIVStateSender(std::shared_ptr<const KIVNetwork> network, std::shared_ptr<const KIVURLBuilder> urlBuilder,
                   std::shared_ptr<const KIVDeviceProperties> deviceProps);
    /// Sends for `sdkKey`; like the first constructor when it is nullopt.
    KIVStateSender(std::shared_ptr<const KIVNetwork> network, std::shared_ptr<const KIVURLBuilder> urlBuilder,
                   std::shared_ptr<const KIVDeviceProperties> deviceProps, std::optional<std::string> sdkKey);

    /// Builds the state on this thread, which takes longer the more flags and properties are registered, and
    /// returns without waiting for the network. `timeout` is the idle limit of the requests in seconds; 0 for
    /// the default limit.
    void sendState(double timeout) const { sendState(timeout, nullptr); }

    /// Posts `props` as the state, without asking the CDN first.
    void sendStateToApi(double timeout, kiv::json::object props) const {
        sendStateToApi(timeout, std::move(props), nullptr);
    }

    /// Sends the state soon, from the network session's queue, and returns at once. Only one of these sends
    /// is under way at a time. All calls during a send lead to one more send, which starts afterwards and
    /// reports all flags and properties that are registered by then.
    void sendStateSoon();

    /// Calls `send` on the main queue once `KIV_SetStateDebounceTime` has passed. Returns false and drops
    /// `send` while an earlier `send` waits, until that time has passed since the last accepted call, and
    /// after `stop`.
    bool debounceSendState(std::function<void()> send);

    /// Drops a debounced send that waits, and accepts no further debounced sends.
    void stop();

private:
    /// Shared by the requests of one send: when the last of them has ended, the next send may start.
    using Flight = std::shared_ptr<void>;

    void sendState(double timeout, Flight flight) const;
    void sendStateToApi(double timeout, kiv::json::object props, Flight flight) const;
    void postSend();
    void sendEnded();
    std::optional<std::string> keyToSend() const;
    const char* sourceOfKey() const { return dedicatedSDKKey_ ? " (dedicated)" : " (from UserDefaults)"; }

    const std::shared_ptr<const KIVURLBuilder> urlBuidler_;
    const std::shared_ptr<const KIVDeviceProperties> deviceProperties_;
    const std::shared_ptr<const KIVNetwork> network_;
    const std::optional<std::string> dedicatedSDKKey_;
    std::mutex sendLock_;        ///< for the two fields below
    bool isSending_ = false;     ///< a send waits to be built, or for its answer
    bool isSendWaiting_ = false; ///< another send was asked for meanwhile
    std::mutex debounceLock_;    ///< for the fields below
    bool isStopped_ = false;
    bool isDebouncing_ = false; ///< the timer runs
    std::chrono::steady_clock::time_point
        cancelUntil_; ///< `debounceSendState` accepts no send before this time
    kiv::Timer debounceTimer_;
};
