#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Analytics/KIVSEGPayload.h"

class KIVSEGAnalytics;

/// The kinds of call, with the numbers by which contexts carry them.
enum class KIVSEGEventType : int {
    undefined = 0,
    identify = 1,
    track = 2,
    screen = 3,
    group = 4,
    alias = 5,
    reset = 6,
    flush = 7,
    receivedRemoteNotification = 8,
    failedToRegisterForRemoteNotifications = 9,
    registeredForRemoteNotifications = 10,
    handleActionWithIdentifier = 11,
    continueUserActivity = 13,
    openURL = 14,
};

/// One call on its way through the middlewares. Not changed once it is shared: `modify` makes another one.
class KIVSEGContext {
public:
    explicit KIVSEGContext(std::weak_ptr<KIVSEGAnalytics> client) : analytics(std::move(client)) {}

    KIVSEGEventType eventType = KIVSEGEventType::undefined;
    std::optional<std::string> userId;
    std::optional<std::string> anonymousId;
    std::shared_ptr<const KIVSEGPayload> payload; ///< null for reset and flush
    std::weak_ptr<KIVSEGAnalytics> analytics;     ///< whose call it is

    /// A copy on which `change` has been at work.
    template <class Change>
    std::shared_ptr<const KIVSEGContext> modify(Change&& change) const {
        auto copy = std::make_shared<KIVSEGContext>(*this);
        change(*copy);
        return copy;
    }
};
