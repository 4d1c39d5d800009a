#include "Analytics/KIVSEGIntegrationsManager.h"

#include <algorithm>
#include <future>
#include <utility>

#include <boost/container/small_vector.hpp>

#include <kiv/KIVException.h>

#include "Analytics/KIVSEGAnalytics.h"
#include "Analytics/KIVSEGEventQueues.h"
#include "Analytics/KIVSEGLog.h"
#include "Analytics/KIVSEGSegmentIntegration.h"
#include "Platform/Crypto/Uuid.h"
#include "Platform/Host/LibraryPath.h"
#include "Platform/Text/Text.h"
#include "Platform/Threads/Fork.h"
#include "Runtime/Failure.h"
#include "Runtime/KIVDebugger.h"

namespace {

constexpr std::string_view anonymousIdKey = "KIVsegment.anonymousId";
constexpr std::string_view settingsKey = "kiv.analytics.settings.v2.plist";

using kiv::json::object;

/// How a type of event is handed to an integration.
struct Operation {
    const char* name = nullptr; ///< null: there is no such type
    bool (*fits)(const KIVSEGPayload*) = nullptr;
    void (*call)(KIVSEGIntegration&, const KIVSEGPayload*) = nullptr;
};

/// `call` takes the integration and the payload. `fits` checks the payload's class, because a middleware may
/// have replaced it.
template <class Payload, class Call>
constexpr Operation operation(const char* name, Call) {
    return {name,
            [](const KIVSEGPayload* payload) { return dynamic_cast<const Payload*>(payload) != nullptr; },
            [](KIVSEGIntegration& integration, const KIVSEGPayload* payload) {
                Call()(integration, static_cast<const Payload&>(*payload));
            }};
}

template <class Call>
constexpr Operation operationWithoutPayload(const char* name, Call) {
    return {name, [](const KIVSEGPayload*) { return true; },
            [](KIVSEGIntegration& integration, const KIVSEGPayload*) { Call()(integration); }};
}

/// Indexed by the number of the type.
constexpr Operation operations[] = {
    {},
    operation<KIVSEGIdentifyPayload>("identify", [](auto& to, const auto& payload) { to.identify(payload); }),
    operation<KIVSEGTrackPayload>("track", [](auto& to, const auto& payload) { to.track(payload); }),
    operation<KIVSEGScreenPayload>("screen", [](auto& to, const auto& payload) { to.screen(payload); }),
    operation<KIVSEGGroupPayload>("group", [](auto& to, const auto& payload) { to.group(payload); }),
    operation<KIVSEGAliasPayload>("alias", [](auto& to, const auto& payload) { to.alias(payload); }),
    operationWithoutPayload("reset", [](auto& to) { to.reset(); }),
    operationWithoutPayload("flush", [](auto& to) { to.flush(); }),
    operation<KIVSEGRemoteNotificationPayload>(
        "receivedRemoteNotification",
        [](auto& to, const auto& payload) { to.receivedRemoteNotification(payload.userInfo); }),
    operation<KIVSEGRemoteNotificationPayload>("failedToRegisterForRemoteNotificationsWithError",
                                               [](auto& to, const auto& payload) {
                                                   to.failedToRegisterForRemoteNotificationsWithError(
                                                       payload.error);
                                               }),
    operation<KIVSEGRemoteNotificationPayload>("registeredForRemoteNotificationsWithDeviceToken",
                                               [](auto& to, const auto& payload) {
                                                   to.registeredForRemoteNotificationsWithDeviceToken(
                                                       payload.deviceToken);
                                               }),
    operation<KIVSEGRemoteNotificationPayload>("handleActionWithIdentifier",
                                               [](auto& to, const auto& payload) {
                                                   to.handleActionWithIdentifier(payload.actionIdentifier,
                                                                                 payload.userInfo);
                                               }),
    {},
    operation<KIVSEGContinueUserActivityPayload>(
        "continueUserActivity",
        [](auto& to, const auto& payload) { to.continueUserActivity(payload.activity); }),
    operation<KIVSEGOpenURLPayload>(
        "openURL", [](auto& to, const auto& payload) { to.openURL(payload.url, payload.options); }),
};

const Operation& operationOf(KIVSEGEventType type) {
    const auto number = static_cast<std::size_t>(type);
    return operations[number < std::size(operations) ? number : 0];
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

/// An empty dictionary. Never destroyed: the library's thread may use it while the process ends.
const object& none() {
    static const object& empty = *new object;
    return empty;
}

const object& dictionary(const object& parent, std::string_view name) {
    const object* found = kiv::objectMember(parent, name);
    return found ? *found : none();
}

/// Approximate, in bytes; 0 for calls that are no tracked event.
std::size_t sizeOf(KIVSEGEventType type, const KIVSEGPayload* payload) {
    if (type != KIVSEGEventType::track) {
        return 0;
    }
    const auto& properties = static_cast<const KIVSEGTrackPayload&>(*payload).properties;
    return 1 + kiv::approximateSize(properties, KIVSEGEventQueue::deepestEvent).value_or(0);
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
    const kiv::Lock lock(lock_);
    anonymousId_ = std::move(id);
}

/// Makes fixed settings with one integration; the client asks no service for settings.
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
    if (!kiv::equalJson(cachedSettings(), settings)) { // a write costs more than a read
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
        storage_, KIVSEGEventQueues::shared().queueIn(storage_)));
    for (const auto& factory : factories) {
        const std::string key = factory->key();
        const kiv::json::value* own = kiv::member(settings, key);
        if (!own || !own->is_object()) {
            KIV_SEG_LOG("No settings for %@. Skipping.", key);
            continue;
        }
        std::shared_ptr<KIVSEGIntegration> integration;
        const auto failure =
            kiv::failureOf([&] { integration = factory->createWithSettings(own->get_object(), analytics); });
        if (failure) {
            KIV_SEG_LOG("The integration %@ cannot be made: %@", key, failure->what());
        }
        if (integration) {
            integrations_[key] = std::move(integration);
            const kiv::Lock lock(lock_);
            registeredIntegrations_[key] = false;
        }
    }
    flushMessageQueue();
    initialized_ = true;
}

void KIVSEGIntegrationsManager::context(Context context, const Next& next) {
    const Operation& operation = operationOf(context->eventType);
    if (!operation.name) {
        const std::string problem =
            kiv::format("Received context with undefined event type %@", int(context->eventType));
        KIV_SEG_LOG("[ERROR]: %@", problem);
        throw KIVException::internalInconsistency(problem);
    }
    if (!operation.fits(context->payload.get())) {
        throw KIVException::internalInconsistency(
            kiv::format("Received context whose payload is not one of %@", operation.name));
    }
    enqueue({.type = context->eventType,
             .payload = context->payload,
             .size = sizeOf(context->eventType, context->payload.get())});
    next(std::move(context));
}

void KIVSEGIntegrationsManager::enqueue(KIVImpressionEvent impression) {
    static const std::size_t sizeOfEmpty =
        1 + kiv::approximateSize(KIVImpressionEvent().properties(), KIVSEGEventQueue::deepestEvent).value();
    const std::size_t size =
        sizeOfEmpty + impression.distinctId.size() + impression.flag.size() + impression.value.size();
    enqueue({.type = KIVSEGEventType::track, .size = size, .impression = std::move(impression)});
}

void KIVSEGIntegrationsManager::enqueue(Message message) {
    if (!initialized_) {
        KIV_SEG_LOG("Queueing: %@", operationOf(message.type).name);
    }
    boost::container::small_vector<Message, 1> dropped; // destroyed without the lock
    bool isFirst = false;
    {
        const kiv::Lock lock(lock_);
        if (message.size > 0) {
            ++tracksWaiting_;
            bytesWaiting_ += message.size;
        }
        messageQueue_.push_back(std::move(message));
        while (tracksWaiting_ > 1 && (tracksWaiting_ > mostWaiting || bytesWaiting_ > mostBytesWaiting)) {
            const auto oldest = std::find_if(messageQueue_.begin(), messageQueue_.end(),
                                             [](const Message& each) { return each.size > 0; });
            --tracksWaiting_;
            bytesWaiting_ -= oldest->size;
            dropped.push_back(std::move(*oldest));
            messageQueue_.erase(oldest);
        }
        isFirst = !std::exchange(isFlushPosted_, true);
    }
    if (isFirst) {
        serialQueue_.post([self = shared_from_this()] { self->flushMessageQueue(); });
    }
    if (!dropped.empty()) {
        KIV_SEG_LOG("Dropping the %@ oldest events: too many wait to be queued.", dropped.size());
    }
}

void KIVSEGIntegrationsManager::flushMessageQueue() {
    std::deque<Message> messages;
    {
        const kiv::Lock lock(lock_);
        messages.swap(messageQueue_);
        tracksWaiting_ = 0;
        bytesWaiting_ = 0;
        isFlushPosted_ = false;
    }
    for (Message& message : messages) {
        if (message.impression) {
            auto payload = std::make_shared<KIVSEGTrackPayload>(none());
            payload->event = KIVImpressionEvents::eventName;
            payload->properties = message.impression->properties();
            message.payload = std::move(payload);
        }
        forward(message);
    }
}

void KIVSEGIntegrationsManager::forward(const Message& message) {
    const Operation& operation = operationOf(message.type);
    for (const auto& [key, integration] : integrations_) {
        if (!isIntegration(key, message.payload ? message.payload->integrations : none())) {
            KIV_SEG_LOG("Not sending %@ to %@: it is disabled in the options", operation.name, key);
            continue;
        }
        if (message.type == KIVSEGEventType::track &&
            !isTrackEvent(static_cast<const KIVSEGTrackPayload&>(*message.payload).event, key, plan_)) {
            KIV_SEG_LOG("Not sending %@ to %@: it is disabled in the plan", operation.name, key);
            continue;
        }
        const auto failure =
            kiv::failureOf([&, &own = *integration] { operation.call(own, message.payload.get()); });
        if (failure) {
            KIV_SEG_LOG("%@ of %@ failed: %@", operation.name, key, failure->what());
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
    const object* entry = kiv::objectMember(dictionary(plan, "track"), event);
    if (!entry) {
        return true;
    }
    const kiv::json::value* enabled = kiv::member(*entry, "enabled");
    return enabled && isTrue(*enabled) && isIntegration(key, dictionary(*entry, "integrations"));
}

void KIVSEGIntegrationsManager::close(double patience, bool sends) {
    const bool isAwaited = patience > 0 && !kiv::isOnWorkThread();
    auto closing = std::make_shared<KIVSEGClosing>(isAwaited ? patience : 0, sends);
    const std::future<void> done = closing->done();
    const auto until = closing->until();
    serialQueue_.post([self = shared_from_this(), closing = std::move(closing)] {
        for (const auto& [key, integration] : self->integrations_) {
            integration->close(closing);
        }
    });
    if (isAwaited) {
        done.wait_until(until);
    }
}

std::optional<std::string> KIVSEGIntegrationsManager::getAnonymousId() const {
    const kiv::Lock lock(lock_);
    return anonymousId_;
}

object KIVSEGIntegrationsManager::registeredIntegrations() const {
    const kiv::Lock lock(lock_);
    return registeredIntegrations_;
}
