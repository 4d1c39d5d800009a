#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <string>

#include "Analytics/KIVSEGPayload.h"

class KIVSEGAnalytics;

/// Tells who closes a client when the client is done: when the last owner of this object has released it.
/// Callable from any thread.
class KIVSEGClosing {
public:
    /// `patience` is the time, in seconds, after which nobody waits any more.
    explicit KIVSEGClosing(double patience)
        : until_(std::chrono::steady_clock::now() +
                 std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                     std::chrono::duration<double>(patience))) {}
    ~KIVSEGClosing() { done_.set_value(); }
    KIVSEGClosing(const KIVSEGClosing&) = delete;
    KIVSEGClosing& operator=(const KIVSEGClosing&) = delete;

    bool isAwaited() const { return std::chrono::steady_clock::now() < until_; }
    std::chrono::steady_clock::time_point until() const { return until_; }

    /// Becomes ready when this object is destroyed. To be called once.
    std::future<void> done() { return done_.get_future(); }

private:
    const std::chrono::steady_clock::time_point until_;
    std::promise<void> done_;
};

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

    /// The client was closed. The integration ends its timers, and writes to disk what is to be kept. It
    /// keeps `closing` while it has work that who closes the client may wait for.
    virtual void close(std::shared_ptr<KIVSEGClosing> /*closing*/) {}
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
