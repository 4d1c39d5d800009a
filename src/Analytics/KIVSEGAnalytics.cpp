#include "Analytics/KIVSEGAnalytics.h"

#include <utility>

#include <kiv/KIVException.h>

#include "Analytics/KIVSEGIntegrationsManager.h"
#include "Analytics/KIVSEGLog.h"
#include "Runtime/KIVDebugger.h"

namespace {

std::shared_ptr<const KIVSEGAnalyticsConfiguration>
checked(std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration) {
    if (!configuration) {
        throw KIVException::internalInconsistency(
            kiv::format("Invalid parameter not satisfying: %@", "configuration != nil"));
    }
    return configuration;
}

/// Adds the manager as the last middleware: a call that it has queued can no longer be changed by others.
KIVSEGMiddlewareRunner::Middlewares with(KIVSEGMiddlewareRunner::Middlewares middlewares,
                                         std::shared_ptr<KIVSEGMiddleware> manager) {
    middlewares.push_back(std::move(manager));
    return middlewares;
}

} // namespace

std::shared_ptr<KIVSEGAnalytics>
KIVSEGAnalytics::create(std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration) {
    std::shared_ptr<KIVSEGAnalytics> analytics(new KIVSEGAnalytics(checked(std::move(configuration))));
    if (analytics->enabled_) {
        analytics->manager_->start(analytics);
    }
    return analytics;
}

KIVSEGAnalytics::KIVSEGAnalytics(std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration)
    : configuration_(std::move(configuration)), enabled_(configuration_->url.has_value()),
      manager_(std::make_shared<KIVSEGIntegrationsManager>(configuration_)),
      runner_(with(configuration_->middlewares, manager_)) {}

KIVSEGAnalytics::~KIVSEGAnalytics() { close(); }

void KIVSEGAnalytics::debug(bool showDebugLogs) { kivSegLogEnabled = showDebugLogs; }

void KIVSEGAnalytics::identify(std::optional<std::string> userId, Object traits, const Object& options) {
    auto payload = std::make_shared<KIVSEGIdentifyPayload>(options);
    payload->userId = std::move(userId);
    payload->traits = std::move(traits);
    run(KIVSEGEventType::identify, std::move(payload));
}

void KIVSEGAnalytics::track(std::string_view event, Object properties, const Object& options) {
    if (event.empty()) {
        throw KIVException::internalInconsistency(kiv::format("event (%@) must not be empty.", event));
    }
    auto payload = std::make_shared<KIVSEGTrackPayload>(options);
    payload->event = event;
    payload->properties = std::move(properties);
    run(KIVSEGEventType::track, std::move(payload));
}

void KIVSEGAnalytics::track(KIVImpressionEvent impression) {
    if (!configuration_->middlewares.empty()) {
        track(KIVImpressionEvents::eventName, impression.properties());
    } else if (enabled()) {
        manager_->enqueue(std::move(impression));
    }
}

void KIVSEGAnalytics::screen(std::string name, Object properties, const Object& options) {
    auto payload = std::make_shared<KIVSEGScreenPayload>(options);
    payload->name = std::move(name);
    payload->properties = std::move(properties);
    run(KIVSEGEventType::screen, std::move(payload));
}

void KIVSEGAnalytics::group(std::string groupId, Object traits, const Object& options) {
    auto payload = std::make_shared<KIVSEGGroupPayload>(options);
    payload->groupId = std::move(groupId);
    payload->traits = std::move(traits);
    run(KIVSEGEventType::group, std::move(payload));
}

void KIVSEGAnalytics::alias(std::string newId, const Object& options) {
    auto payload = std::make_shared<KIVSEGAliasPayload>(options);
    payload->theNewId = std::move(newId);
    run(KIVSEGEventType::alias, std::move(payload));
}

void KIVSEGAnalytics::receivedRemoteNotification(Object userInfo) {
    auto payload = std::make_shared<KIVSEGRemoteNotificationPayload>(Object());
    payload->userInfo = std::move(userInfo);
    run(KIVSEGEventType::receivedRemoteNotification, std::move(payload));
}

void KIVSEGAnalytics::failedToRegisterForRemoteNotificationsWithError(std::string error) {
    auto payload = std::make_shared<KIVSEGRemoteNotificationPayload>(Object());
    payload->error = std::move(error);
    run(KIVSEGEventType::failedToRegisterForRemoteNotifications, std::move(payload));
}

void KIVSEGAnalytics::registeredForRemoteNotificationsWithDeviceToken(std::string deviceToken) {
    auto payload = std::make_shared<KIVSEGRemoteNotificationPayload>(Object());
    payload->deviceToken = std::move(deviceToken);
    run(KIVSEGEventType::registeredForRemoteNotifications, std::move(payload));
}

void KIVSEGAnalytics::handleActionWithIdentifier(std::string identifier, Object userInfo) {
    auto payload = std::make_shared<KIVSEGRemoteNotificationPayload>(Object());
    payload->actionIdentifier = std::move(identifier);
    payload->userInfo = std::move(userInfo);
    run(KIVSEGEventType::handleActionWithIdentifier, std::move(payload));
}

void KIVSEGAnalytics::continueUserActivity(KIVSEGUserActivity activity) {
    auto payload = std::make_shared<KIVSEGContinueUserActivityPayload>(Object());
    payload->activity = std::move(activity);
    run(KIVSEGEventType::continueUserActivity, std::move(payload));
}

void KIVSEGAnalytics::openURL(std::string url, Object options) {
    auto payload = std::make_shared<KIVSEGOpenURLPayload>(Object());
    payload->url = std::move(url);
    payload->options = std::move(options);
    run(KIVSEGEventType::openURL, std::move(payload));
}

void KIVSEGAnalytics::trackPushNotification(Object properties, bool fromLaunch) {
    track(fromLaunch ? "Push Notification Tapped" : "Push Notification Received", std::move(properties));
}

void KIVSEGAnalytics::reset() { run(KIVSEGEventType::reset, nullptr); }

void KIVSEGAnalytics::flush() { run(KIVSEGEventType::flush, nullptr); }

void KIVSEGAnalytics::run(KIVSEGEventType eventType, std::shared_ptr<const KIVSEGPayload> payload) {
    if (!enabled()) {
        return;
    }
    runner_.run(KIVSEGContext(weak_from_this()).modify([&](KIVSEGContext& context) {
        context.eventType = eventType;
        context.payload = std::move(payload);
    }),
                nullptr);
}

void KIVSEGAnalytics::close(double patience, bool sends) {
    if (!isClosed_.exchange(true)) {
        manager_->close(configuration_->url ? patience : 0, sends);
    }
}

std::optional<std::string> KIVSEGAnalytics::getAnonymousId() const { return manager_->getAnonymousId(); }

kiv::json::object KIVSEGAnalytics::bundledIntegrations() const { return manager_->registeredIntegrations(); }
