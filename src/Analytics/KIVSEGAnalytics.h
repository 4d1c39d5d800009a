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

/// The event client. Each call passes the middlewares, on the caller's thread, and is then handed to the
/// integrations; one of them, `KIVSEGSegmentIntegration`, keeps events on disk and uploads them.
///
/// Callable from any thread; only `close` may wait for a file, and nothing here waits for the network. While
/// the client is disabled, its calls do nothing.
class KIVSEGAnalytics : public KIVImpressionEvents, public std::enable_shared_from_this<KIVSEGAnalytics> {
public:
    using Object = kiv::json::object;

    /// Throws "InternalInconsistency" when there is no configuration.
    static std::shared_ptr<KIVSEGAnalytics>
    create(std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration);
    /// Calls `close` with a patience of 0 seconds.
    ~KIVSEGAnalytics() override;
    KIVSEGAnalytics(const KIVSEGAnalytics&) = delete;
    KIVSEGAnalytics& operator=(const KIVSEGAnalytics&) = delete;

    static std::string_view version() { return "3.6.9"; }
    /// Switches the analytics log on or off, for all clients.
    static void debug(bool showDebugLogs);

    // `options` may have the dictionaries "context" and "integrations", as `KIVSEGPayload` says.
    void identify(std::optional<std::string> userId, Object traits = {}, const Object& options = {});
    /// Throws "InternalInconsistency" when the event has no name.
    void track(std::string_view event, Object properties, const Object& options = {});
    /// Tracks an impression. Without middlewares, the event is made on the library's work thread.
    void track(KIVImpressionEvent impression) override;
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
    /// Tracks that a notification came or, with `fromLaunch`, that a tap on it started the application.
    void trackPushNotification(Object properties, bool fromLaunch);

    /// Forgets who the user is. Events that wait to be sent are kept.
    void reset();
    /// Uploads one batch of the events that wait to be sent, the oldest first.
    void flush();

    /// Has no effect when the configuration has no `url`, and after `close`.
    void enable() { enabled_ = configuration_->url.has_value(); }
    void disable() { enabled_ = false; }
    bool enabled() const { return enabled_ && !isClosed_; }

    /// Disables the client for good and ends its timer; earlier calls are still carried out. Waits `patience`
    /// seconds at most until the queue of events is on disk and the upload under way, if there is one, has
    /// been answered; then the next batch follows, while this waits and the service accepts events. Does not
    /// wait when it is called on the library's work thread, or when the client has no `url`.
    void close(double patience = 0) { close(patience, false); }
    /// Does what `close` does and, unless the client is disabled, sends the events that wait. They are
    /// written meanwhile, not before, so that more of the `patience` is left for the answer.
    void flushAndClose(double patience) { close(patience, enabled()); }

    /// nullopt until the client has read the identifier from disk, shortly after it was made.
    std::optional<std::string> getAnonymousId() const;
    /// The keys of the registered integrations, each with the value false.
    Object bundledIntegrations() const;

    const std::shared_ptr<const KIVSEGAnalyticsConfiguration>& configuration() const {
        return configuration_;
    }
    const std::shared_ptr<KIVSEGIntegrationsManager>& integrationsManager() const { return manager_; }
    const KIVSEGMiddlewareRunner& runner() const { return runner_; }

private:
    explicit KIVSEGAnalytics(std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration);
    void close(double patience, bool sends);
    void run(KIVSEGEventType eventType, std::shared_ptr<const KIVSEGPayload> payload);

    const std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration_;
    std::atomic<bool> enabled_;
    std::atomic<bool> isClosed_{false};
    const std::shared_ptr<KIVSEGIntegrationsManager> manager_;
    const KIVSEGMiddlewareRunner runner_;
};
