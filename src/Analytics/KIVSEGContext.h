#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Analytics/KIVSEGPayload.h"

class KIVSEGAnalytics;

/// The types of call. The numbers are fixed.
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

/// One call on its way through the middlewares. Not changed once it is shared: `modify` changes a copy.
class KIVSEGContext {
public:
    explicit KIVSEGContext(std::weak_ptr<KIVSEGAnalytics> client) : analytics(std::move(client)) {}

    KIVSEGEventType eventType = KIVSEGEventType::undefined;
    std::optional<std::string> userId;
    std::optional<std::string> anonymousId;
    std::shared_ptr<const KIVSEGPayload> payload; ///< null for reset and flush
    std::weak_ptr<KIVSEGAnalytics> analytics;     ///< the client that was called

    /// A copy of this context, after `change` was called with it.
    template <class Change>
    std::shared_ptr<const KIVSEGContext> modify(Change&& change) const {
        auto copy = std::make_shared<KIVSEGContext>(*this);
        change(*copy);
        return copy;
    }
};
