#include "Analytics/KIVSEGIntegrationsManager.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <utility>

#include <kiv/KIVException.h>

#include "Analytics/KIVSEGAnalytics.h"
#include "Analytics/KIVSEGFileStorage.h"
#include "Analytics/KIVSEGLog.h"
#include "Analytics/KIVSEGSegmentIntegration.h"
#include "Platform/LibraryPath.h"
#include "Platform/Text.h"
#include "Platform/Uuid.h"
#include "Runtime/Failure.h"
#include "Runtime/KIVDebugger.h"

namespace {

constexpr std::string_view anonymousIdKey = "KIVsegment.anonymousId";
constexpr std::string_view settingsKey = "kiv.analytics.settings.v2.plist";

using kiv::json::object;

const char* nameOf(KIVSEGEventType type) {
    switch (type) {
    case KIVSEGEventType::identify:
        return "identify";
    case KIVSEGEventType::track:
        return "track";
    case KIVSEGEventType::screen:
        return "screen";
    case KIVSEGEventType::group:
        return "group";
    case KIVSEGEventType::alias:
        return "alias";
    case KIVSEGEventType::reset:
        return "reset";
    case KIVSEGEventType::flush:
        return "flush";
    case KIVSEGEventType::receivedRemoteNotification:
        return "receivedRemoteNotification";
    case KIVSEGEventType::failedToRegisterForRemoteNotifications:
        return "failedToRegisterForRemoteNotificationsWithError";
    case KIVSEGEventType::registeredForRemoteNotifications:
        return "registeredForRemoteNotificationsWithDeviceToken";
    case KIVSEGEventType::handleActionWithIdentifier:
        return "handleActionWithIdentifier";
    case KIVSEGEventType::continueUserActivity:
        return "continueUserActivity";
    case KIVSEGEventType::openURL:
        return "openURL";
    case KIVSEGEventType::undefined:
        break;
    }
    return nullptr;
}

/// A middleware may have put another payload into a context.
bool fits(KIVSEGEventType type, const KIVSEGPayload* payload) {
    switch (type) {
    case KIVSEGEventType::identify:
        return dynamic_cast<const KIVSEGIdentifyPayload*>(payload);
    case KIVSEGEventType::track:
        return dynamic_cast<const KIVSEGTrackPayload*>(payload);
    case KIVSEGEventType::screen:
        return dynamic_cast<const KIVSEGScreenPayload*>(payload);
    case KIVSEGEventType::group:
        return dynamic_cast<const KIVSEGGroupPayload*>(payload);
    case KIVSEGEventType::alias:
        return dynamic_cast<const KIVSEGAliasPayload*>(payload);
    case KIVSEGEventType::receivedRemoteNotification:
    case KIVSEGEventType::failedToRegisterForRemoteNotifications:
    case KIVSEGEventType::registeredForRemoteNotifications:
    case KIVSEGEventType::handleActionWithIdentifier:
        return dynamic_cast<const KIVSEGRemoteNotificationPayload*>(payload);
    case KIVSEGEventType::continueUserActivity:
        return dynamic_cast<const KIVSEGContinueUserActivityPayload*>(payload);
    case KIVSEGEventType::openURL:
        return dynamic_cast<const KIVSEGOpenURLPayload*>(payload);
    case KIVSEGEventType::reset:
    case KIVSEGEventType::flush:
    case KIVSEGEventType::undefined:
        break;
    }
    return true;
}

/// Calls the operation for the type. The payload fits it.
void call(KIVSEGIntegration& integration, KIVSEGEventType type, const KIVSEGPayload* payload) {
    switch (type) {
    case KIVSEGEventType::identify:
        return integration.identify(static_cast<const KIVSEGIdentifyPayload&>(*payload));
    case KIVSEGEventType::track:
        return integration.track(static_cast<const KIVSEGTrackPayload&>(*payload));
    case KIVSEGEventType::screen:
        return integration.screen(static_cast<const KIVSEGScreenPayload&>(*payload));
    case KIVSEGEventType::group:
        return integration.group(static_cast<const KIVSEGGroupPayload&>(*payload));
    case KIVSEGEventType::alias:
        return integration.alias(static_cast<const KIVSEGAliasPayload&>(*payload));
    case KIVSEGEventType::reset:
        return integration.reset();
    case KIVSEGEventType::flush:
        return integration.flush();
    case KIVSEGEventType::continueUserActivity:
        return integration.continueUserActivity(
            static_cast<const KIVSEGContinueUserActivityPayload&>(*payload).activity);
    case KIVSEGEventType::openURL: {
        const auto& opened = static_cast<const KIVSEGOpenURLPayload&>(*payload);
        return integration.openURL(opened.url, opened.options);
    }
    default:
        break;
    }
    const auto& notification = static_cast<const KIVSEGRemoteNotificationPayload&>(*payload);
    switch (type) {
    case KIVSEGEventType::receivedRemoteNotification:
        return integration.receivedRemoteNotification(notification.userInfo);
    case KIVSEGEventType::failedToRegisterForRemoteNotifications:
        return integration.failedToRegisterForRemoteNotificationsWithError(notification.error);
    case KIVSEGEventType::registeredForRemoteNotifications:
        return integration.registeredForRemoteNotificationsWithDeviceToken(notification.deviceToken);
    default:
        return integration.handleActionWithIdentifier(notification.actionIdentifier, notification.userInfo);
    }
}

bool isTrue(const kiv::json::value& value) {
    switch (value.kind()) {
    case kiv::json::kind::null:
        return false;
    case kiv::json::kind::bool_:
        return value.get_bool();
    case kiv::json::kind::string:
        return kiv::readBoolean(value.get_string());
    case kiv::json::kind::array:
    case kiv::json::kind::object:
        return true;
    default:
        return value.to_number<double>() != 0;
    }
}

object dictionary(const object& parent, std::string_view name) {
    const kiv::json::value* value = kiv::member(parent, name);
    return value && value->is_object() ? value->get_object() : object();
}

} // namespace

KIVSEGIntegrationsManager::KIVSEGIntegrationsManager(
    std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration)
    : configuration_(std::move(configuration)) {}

void KIVSEGIntegrationsManager::start(std::shared_ptr<KIVSEGAnalytics> analytics) {
    serialQueue_.post(
        [self = shared_from_this(), analytics = std::move(analytics)] { self->initialize(analytics); });
}

void KIVSEGIntegrationsManager::initialize(const std::shared_ptr<KIVSEGAnalytics>& analytics) {
    storage_ = std::make_shared<KIVSEGFileStorage>(
        kiv::pathIn(KIVSEGFileStorage::applicationSupportDirectoryURL(), configuration_->writeKey),
        configuration_->crypto);
    loadOrGenerateAnonymousID(false);
    refreshSettings(analytics);
}

void KIVSEGIntegrationsManager::loadOrGenerateAnonymousID(bool reset) {
    const kiv::json::value kept = reset ? kiv::json::value() : storage_->stringForKey(anonymousIdKey);
    std::string id;
    if (const auto* text = kept.if_string()) {
        id = *text;
    } else {
        id = kiv::newUuid();
        KIV_SEG_LOG("New anonymousId: %@", id);
        storage_->setString(id, anonymousIdKey);
    }
    const std::lock_guard lock(lock_);
    anonymousId_ = std::move(id);
}

/// The settings are those of one integration, and are made here: no service is asked for them.
void KIVSEGIntegrationsManager::refreshSettings(const std::shared_ptr<KIVSEGAnalytics>& analytics) {
    const object integrations{{KIVSEGSegmentIntegrationKey, object{{"apiKey", configuration_->writeKey}}}};
    setCachedSettings({{"integrations", integrations}, {"plan", object{{"track", object()}}}}, analytics);
}

object KIVSEGIntegrationsManager::cachedSettings() const {
    const kiv::json::value kept = storage_->dictionaryForKey(settingsKey);
    return kept.is_object() ? kept.get_object() : object();
}

void KIVSEGIntegrationsManager::setCachedSettings(const object& settings,
                                                  const std::shared_ptr<KIVSEGAnalytics>& analytics) {
    if (!kiv::equalJson(cachedSettings(), settings)) { // a write is dearer than a read
        storage_->setDictionary(settings, settingsKey);
    }
    plan_ = dictionary(settings, "plan");
    updateIntegrationsWithSettings(dictionary(settings, "integrations"), analytics);
}

void KIVSEGIntegrationsManager::updateIntegrationsWithSettings(
    const object& settings, const std::shared_ptr<KIVSEGAnalytics>& analytics) {
    auto factories = configuration_->factories;
    factories.push_back(std::make_shared<KIVSEGSegmentIntegrationFactory>(
        std::make_shared<KIVSEGHTTPClient>(configuration_->requestFactory, configuration_->deviceProperties),
        storage_));
    for (const auto& factory : factories) {
        const std::string key = factory->key();
        const kiv::json::value* own = kiv::member(settings, key);
        if (!own || !own->is_object()) {
            KIV_SEG_LOG("No settings for %@. Skipping.", key);
            continue;
        }
        if (auto integration = factory->createWithSettings(own->get_object(), analytics)) {
            integrations_[key] = std::move(integration);
            const std::lock_guard lock(lock_);
            registeredIntegrations_[key] = false;
        }
    }
    flushMessageQueue();
    initialized_ = true;
}

void KIVSEGIntegrationsManager::context(Context context, const Next& next) {
    const KIVSEGEventType type = context->eventType;
    if (!nameOf(type)) {
        const std::string problem = kiv::format("Received context with undefined event type %@", int(type));
        KIV_SEG_LOG("[ERROR]: %@", problem);
        throw KIVException::internalInconsistency(problem);
    }
    if (!fits(type, context->payload.get())) {
        throw KIVException::internalInconsistency(
            kiv::format("Received context whose payload is not one of %@", nameOf(type)));
    }
    enqueue({type, context->payload});
    next(std::move(context));
}

void KIVSEGIntegrationsManager::enqueue(Message message) {
    if (!initialized_) {
        KIV_SEG_LOG("Queueing: %@", nameOf(message.type));
    }
    Message dropped{KIVSEGEventType::undefined, nullptr};
    bool isFirst = false;
    {
        const std::lock_guard lock(lock_);
        if (message.type == KIVSEGEventType::track && ++tracksWaiting_ > mostWaiting) {
            const auto oldest =
                std::find_if(messageQueue_.begin(), messageQueue_.end(),
                             [](const auto& each) { return each.type == KIVSEGEventType::track; });
            dropped = std::move(*oldest);
            messageQueue_.erase(oldest);
            --tracksWaiting_;
        }
        messageQueue_.push_back(std::move(message));
        isFirst = !std::exchange(isFlushPosted_, true);
    }
    if (isFirst) {
        serialQueue_.post([self = shared_from_this()] { self->flushMessageQueue(); });
    }
    if (dropped.payload) {
        KIV_SEG_LOG("Dropping the oldest of more than %@ events that wait to be queued", mostWaiting);
    }
}

void KIVSEGIntegrationsManager::flushMessageQueue() {
    std::deque<Message> messages;
    {
        const std::lock_guard lock(lock_);
        messages.swap(messageQueue_);
        tracksWaiting_ = 0;
        isFlushPosted_ = false;
    }
    for (const Message& message : messages) {
        forward(message);
    }
}

void KIVSEGIntegrationsManager::forward(const Message& message) {
    static const object none;
    for (const auto& [key, integration] : integrations_) {
        if (!isIntegration(key, message.payload ? message.payload->integrations : none)) {
            KIV_SEG_LOG("Not sending %@ to %@: it is disabled in the options", nameOf(message.type), key);
            continue;
        }
        if (message.type == KIVSEGEventType::track &&
            !isTrackEvent(static_cast<const KIVSEGTrackPayload&>(*message.payload).event, key, plan_)) {
            KIV_SEG_LOG("Not sending %@ to %@: it is disabled in the plan", nameOf(message.type), key);
            continue;
        }
        const auto failure = kiv::failureOf(
            [&message, &own = *integration] { call(own, message.type, message.payload.get()); });
        if (failure) {
            KIV_SEG_LOG("%@ of %@ failed: %@", nameOf(message.type), key, failure->what());
        }
    }
    if (message.type == KIVSEGEventType::reset) {
        loadOrGenerateAnonymousID(true);
    }
}

bool KIVSEGIntegrationsManager::isIntegration(std::string_view key, const object& options) {
    if (key == KIVSEGSegmentIntegrationKey) {
        return true;
    }
    for (const std::string_view name : {key, std::string_view("All"), std::string_view("all")}) {
        if (const kiv::json::value* entry = kiv::member(options, name)) {
            return isTrue(*entry);
        }
    }
    return true;
}

bool KIVSEGIntegrationsManager::isTrackEvent(std::string_view event, std::string_view key,
                                             const object& plan) {
    const kiv::json::value* tracks = kiv::member(plan, "track");
    const kiv::json::value* entry = tracks ? kiv::member(*tracks, event) : nullptr;
    if (!entry) {
        return true;
    }
    const kiv::json::value* enabled = kiv::member(*entry, "enabled");
    const kiv::json::value* integrations = kiv::member(*entry, "integrations");
    return enabled && isTrue(*enabled) &&
           isIntegration(key,
                         integrations && integrations->is_object() ? integrations->get_object() : object());
}

void KIVSEGIntegrationsManager::close(double patience) {
    const auto closed = std::make_shared<std::promise<void>>();
    serialQueue_.post([self = shared_from_this(), closed] {
        for (const auto& [key, integration] : self->integrations_) {
            integration->close();
        }
        // Behind what that has left to be done on queues of their own.
        self->serialQueue_.post([closed] { closed->set_value(); });
    });
    if (patience > 0 && !kiv::isOnWorkThread()) {
        closed->get_future().wait_for(std::chrono::duration<double>(patience));
    }
}

std::optional<std::string> KIVSEGIntegrationsManager::getAnonymousId() const {
    const std::lock_guard lock(lock_);
    return anonymousId_;
}

object KIVSEGIntegrationsManager::registeredIntegrations() const {
    const std::lock_guard lock(lock_);
    return registeredIntegrations_;
}
