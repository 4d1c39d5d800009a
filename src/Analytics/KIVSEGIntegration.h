#pragma once

#include <memory>
#include <string>

#include "Analytics/KIVSEGPayload.h"

class KIVSEGAnalytics;

/// Receives the calls of the analytics client. All operations are called on the manager's queue and must not
/// wait. An integration overrides the operations that it needs.
class KIVSEGIntegration {
public:
    virtual ~KIVSEGIntegration() = default;

    virtual void identify(const KIVSEGIdentifyPayload&) {}
    virtual void track(const KIVSEGTrackPayload&) {}
    virtual void screen(const KIVSEGScreenPayload&) {}
    virtual void group(const KIVSEGGroupPayload&) {}
    virtual void alias(const KIVSEGAliasPayload&) {}
    virtual void reset() {}
    virtual void flush() {}
    virtual void receivedRemoteNotification(const kiv::json::object& /*userInfo*/) {}
    virtual void failedToRegisterForRemoteNotificationsWithError(const std::string& /*error*/) {}
    virtual void registeredForRemoteNotificationsWithDeviceToken(const std::string& /*deviceToken*/) {}
    virtual void handleActionWithIdentifier(const std::string& /*identifier*/,
                                            const kiv::json::object& /*userInfo*/) {}
    virtual void continueUserActivity(const KIVSEGUserActivity&) {}
    virtual void openURL(const std::string& /*url*/, const kiv::json::object& /*options*/) {}

    /// The client was closed. The integration ends its timers, and writes to disk what is to be kept.
    virtual void close() {}
};

/// Makes an integration from the settings under its key.
class KIVSEGIntegrationFactory {
public:
    virtual ~KIVSEGIntegrationFactory() = default;

    virtual std::string key() const = 0;

    /// Called once for each client, on the manager's queue. `settings` are the settings under the factory's
    /// key; `analytics` is not null. Returns null when there is nothing to make.
    virtual std::shared_ptr<KIVSEGIntegration>
    createWithSettings(const kiv::json::object& settings,
                       const std::shared_ptr<KIVSEGAnalytics>& analytics) const = 0;
};
