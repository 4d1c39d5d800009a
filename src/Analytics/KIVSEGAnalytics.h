#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Analytics/KIVSEGAnalyticsConfiguration.h"
#include "Analytics/KIVSEGContext.h"
#include "Analytics/KIVSEGMiddleware.h"
#include "Flags/KIVImpressionEvents.h"

class KIVSEGIntegrationsManager;

/// Takes events and brings them to where they are to go: each call passes the middlewares, on the caller's
/// thread, and is then handed to the integrations, one of which keeps events on disk and uploads them.
///
/// Callable from any thread; nothing here waits for a file or the network. While the client is disabled, its
/// calls do nothing.
class KIVSEGAnalytics : public KIVImpressionEvents, public std::enable_shared_from_this<KIVSEGAnalytics> {
public:
    using Object = kiv::json::object;

    /// Throws "InternalInconsistency" when there is no configuration.
    static std::shared_ptr<KIVSEGAnalytics>
    create(std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration);
    /// Closes.
    ~KIVSEGAnalytics() override;
    KIVSEGAnalytics(const KIVSEGAnalytics&) = delete;
    KIVSEGAnalytics& operator=(const KIVSEGAnalytics&) = delete;

    static std::string_view version() { return "3.6.9"; }
    /// Switches the analytics log on or off, for all clients.
    static void debug(bool showDebugLogs);

    // Options carry the dictionaries "context" and "integrations".
    void identify(std::optional<std::string> userId, Object traits = {}, const Object& options = {});
    /// Throws "InternalInconsistency" when the event has no name.
    void track(std::string_view event, Object properties) override {
        track(event, std::move(properties), {});
    }
    void track(std::string_view event, Object properties, const Object& options);
    void screen(std::string name, Object properties = {}, const Object& options = {});
    void group(std::string groupId, Object traits = {}, const Object& options = {});
    void alias(std::string newId, const Object& options = {});

    void receivedRemoteNotification(Object userInfo);
    void failedToRegisterForRemoteNotificationsWithError(std::string error);
    /// The token is bytes.
    void registeredForRemoteNotificationsWithDeviceToken(std::string deviceToken);
    void handleActionWithIdentifier(std::string identifier, Object userInfo);
    void continueUserActivity(KIVSEGUserActivity activity);
    void openURL(std::string url, Object options = {});
    /// Tracks that a notification came, or that the application was started by a tap on it.
    void trackPushNotification(Object properties, bool fromLaunch);

    /// Forgets who the user is. Events that wait to be sent stay.
    void reset();
    /// Sends what waits to be sent, as much as goes into one upload.
    void flush();

    /// Has no effect without a url, or once closed.
    void enable() { enabled_ = configuration_->url && !isClosed_; }
    void disable() { enabled_ = false; }
    bool enabled() const { return enabled_; }

    /// Disables the client for good and ends its timer; its calls so far are still carried out. With
    /// `patience`, in seconds, waits so long at most until what they add has been written to disk; not when
    /// called on the library's work thread.
    void close(double patience = 0);

    /// Nothing until it has been read from disk, shortly after the client was made.
    std::optional<std::string> getAnonymousId() const;
    /// The keys of the registered integrations.
    Object bundledIntegrations() const;

    const std::shared_ptr<const KIVSEGAnalyticsConfiguration>& configuration() const {
        return configuration_;
    }
    const std::shared_ptr<KIVSEGIntegrationsManager>& integrationsManager() const { return manager_; }
    const KIVSEGMiddlewareRunner& runner() const { return runner_; }

private:
    explicit KIVSEGAnalytics(std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration);
    void run(KIVSEGEventType eventType, std::shared_ptr<const KIVSEGPayload> payload);

    const std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration_;
    std::atomic<bool> enabled_;
    std::atomic<bool> isClosed_{false};
    const std::shared_ptr<KIVSEGIntegrationsManager> manager_;
    const KIVSEGMiddlewareRunner runner_;
};
