#pragma once

#include <memory>
#include <string>

#include "Analytics/KIVSEGPayload.h"

class KIVSEGAnalytics;

/// Where calls of the analytics client end up. All operations are called on the manager's queue and must not
/// wait; what an integration has no use for it leaves as it is.
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

    /// The client is not used any more: nothing may run by itself from now on. What is kept, is kept safely.
    virtual void close() {}
};

/// Makes an integration for the settings that stand under its key.
class KIVSEGIntegrationFactory {
public:
    virtual ~KIVSEGIntegrationFactory() = default;

    virtual std::string key() const = 0;

    /// Called on the manager's queue, once for each client, which is not null. `settings` is what stands
    /// under the key. Null when there is nothing to make.
    virtual std::shared_ptr<KIVSEGIntegration>
    createWithSettings(const kiv::json::object& settings,
                       const std::shared_ptr<KIVSEGAnalytics>& analytics) const = 0;
};
