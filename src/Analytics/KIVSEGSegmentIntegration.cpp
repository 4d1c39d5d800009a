#include "Analytics/KIVSEGSegmentIntegration.h"

#include <utility>

#include <kiv/NotificationCenter.h>

#include "Analytics/KIVSEGAnalytics.h"
#include "Analytics/KIVSEGIntegrationsManager.h"
#include "Analytics/KIVSEGLog.h"
#include "Platform/Crypto/Uuid.h"
#include "Platform/Host/UserDefaults.h"
#include "Platform/Text/Dates.h"
#include "Platform/Text/Text.h"
#include "Runtime/Failure.h"
#include "Runtime/KIVDebugger.h"

namespace {

using kiv::json::array;
using kiv::json::object;

constexpr std::string_view traitsKey = "kiv.segmentio.traits.plist";
constexpr std::string_view userIdKey = "kiv.segmentio.userId";
// Keys of user defaults under which earlier versions kept the user's identifier, the queue and the traits.
constexpr std::string_view olderUserIdKey = "KIVSEGUserId";
constexpr std::string_view olderQueueKey = "KIVSEGQueue";
constexpr std::string_view olderTraitsKey = "KIVSEGTraits";

constexpr std::string_view self = "<KIVSEGSegmentIntegration>"; ///< in log lines

std::string now() { return kiv::dateText(kiv::Clock::current().now()); }

void merge(object& into, const object& later) {
    for (const auto& member : later) {
        into.insert_or_assign(member.key(), member.value());
    }
}

object trackDictionary(const KIVSEGTrackPayload& payload) {
    return {{"event", payload.event}, {"properties", payload.properties}};
}

} // namespace

std::shared_ptr<KIVSEGSegmentIntegration> KIVSEGSegmentIntegration::create(
    const std::shared_ptr<KIVSEGAnalytics>& analytics, std::shared_ptr<KIVSEGHTTPClient> httpClient,
    std::shared_ptr<KIVSEGStorage> storage, std::shared_ptr<KIVSEGEventQueue> queue) {
    std::shared_ptr<KIVSEGSegmentIntegration> integration(
        new KIVSEGSegmentIntegration(analytics, std::move(httpClient), std::move(storage), std::move(queue)));
    integration->start();
    return integration;
}

KIVSEGSegmentIntegration::KIVSEGSegmentIntegration(const std::shared_ptr<KIVSEGAnalytics>& analytics,
                                                   std::shared_ptr<KIVSEGHTTPClient> httpClient,
                                                   std::shared_ptr<KIVSEGStorage> storage,
                                                   std::shared_ptr<KIVSEGEventQueue> queue)
    : analytics_(analytics), configuration_(analytics->configuration()), httpClient_(std::move(httpClient)),
      storage_(std::move(storage)), queue_(std::move(queue)) {}

void KIVSEGSegmentIntegration::start() {
    serialQueue_.post([integration = shared_from_this()] {
        integration->userId_ = integration->getUserId();
        auto& defaults = kiv::UserDefaults::standard();
        for (const std::string_view key : {olderQueueKey, olderTraitsKey}) {
            if (!defaults.object(key).is_null()) {
                defaults.remove(key);
            }
        }
    });
    flushTimer_ = kiv::Timer(flushInterval, true, [weak = weak_from_this()] {
        if (const auto integration = weak.lock()) {
            integration->dispatch([](KIVSEGSegmentIntegration& own) {
                own.queue_->adopt();
                own.flush();
            });
        }
    });
}

std::string KIVSEGSegmentIntegration::apiURL() { return "https://events.kiv.example/v1/import"; }

template <class Task>
void KIVSEGSegmentIntegration::dispatch(Task task) {
    if (serialQueue_.isCurrent()) {
        task(*this);
    } else {
        serialQueue_.post(
            [integration = shared_from_this(), task = std::move(task)]() mutable { task(*integration); });
    }
}

std::optional<std::string> KIVSEGSegmentIntegration::getUserId() const {
    if (auto older = kiv::UserDefaults::standard().string(olderUserIdKey)) {
        return older;
    }
    const kiv::json::value kept = storage_->stringForKey(userIdKey);
    return kept.is_string() ? std::optional<std::string>(kept.get_string()) : std::nullopt;
}

void KIVSEGSegmentIntegration::saveUserId(const std::string& userId) {
    userId_ = userId;
    storage_->setString(userId, userIdKey);
}

object& KIVSEGSegmentIntegration::traits() {
    if (!traits_) {
        const kiv::json::value kept = storage_->dictionaryForKey(traitsKey);
        traits_ = kept.is_object() ? kept.get_object() : object();
    }
    return *traits_;
}

void KIVSEGSegmentIntegration::addTraits(const object& traits) {
    merge(this->traits(), traits);
    storage_->setDictionary(this->traits(), traitsKey);
}

void KIVSEGSegmentIntegration::identify(const KIVSEGIdentifyPayload& payload) {
    dispatch([payload](KIVSEGSegmentIntegration& own) {
        if (payload.userId) {
            own.saveUserId(*payload.userId);
        }
        own.addTraits(payload.traits);
        own.enqueueAction("identify", {{"traits", own.traits()}}, payload);
    });
}

void KIVSEGSegmentIntegration::track(const KIVSEGTrackPayload& payload) {
    KIV_SEG_LOG("segment integration received payload %@", kiv::compactJson(trackDictionary(payload)));
    enqueueAction("track", trackDictionary(payload), payload);
}

void KIVSEGSegmentIntegration::screen(const KIVSEGScreenPayload& payload) {
    enqueueAction("screen", {{"name", payload.name}, {"properties", payload.properties}}, payload);
}

void KIVSEGSegmentIntegration::group(const KIVSEGGroupPayload& payload) {
    enqueueAction("group", {{"groupId", payload.groupId}, {"traits", payload.traits}}, payload);
}

void KIVSEGSegmentIntegration::alias(const KIVSEGAliasPayload& payload) {
    dispatch([payload](KIVSEGSegmentIntegration& own) {
        object dictionary{{"userId", payload.theNewId}};
        const auto analytics = own.analytics_.lock();
        const auto previous = own.userId_ || !analytics ? own.userId_ : analytics->getAnonymousId();
        if (previous) {
            dictionary["previousId"] = *previous;
        }
        own.enqueueAction("alias", std::move(dictionary), payload);
    });
}

void KIVSEGSegmentIntegration::registeredForRemoteNotificationsWithDeviceToken(
    const std::string& deviceToken) {
    dispatch([token = kiv::hexText(deviceToken)](KIVSEGSegmentIntegration& own) {
        own.cachedStaticContext_["device"] = object{{"token", token}};
    });
}

void KIVSEGSegmentIntegration::continueUserActivity(const KIVSEGUserActivity& activity) {
    if (activity.webpageURL) {
        openURL(*activity.webpageURL, {});
    }
}

void KIVSEGSegmentIntegration::openURL(const std::string& url, const object&) {
    dispatch([url](KIVSEGSegmentIntegration& own) { own.referrer_["url"] = url; });
}

void KIVSEGSegmentIntegration::reset() {
    dispatch([](KIVSEGSegmentIntegration& own) {
        own.storage_->removeKey(userIdKey);
        own.storage_->removeKey(traitsKey);
        own.userId_.reset();
        own.traits_.emplace();
    });
}

object KIVSEGSegmentIntegration::integrationsDictionary(object integrations) const {
    if (const auto analytics = analytics_.lock()) {
        for (const auto& registered : analytics->bundledIntegrations()) {
            if (registered.key() != KIVSEGSegmentIntegrationKey) {
                integrations.insert_or_assign(registered.key(), false);
            }
        }
    }
    return integrations;
}

void KIVSEGSegmentIntegration::enqueueAction(std::string_view action, object dictionary,
                                             const KIVSEGPayload& payload) {
    dictionary["type"] = action;
    dictionary[KIVSEGEventQueue::timeKey] = now();
    dictionary[KIVSEGEventQueue::identityKey] = kiv::newUuid();
    dispatch([event = std::move(dictionary), isAlias = action == "alias", context = payload.context,
              integrations = payload.integrations](KIVSEGSegmentIntegration& own) mutable {
        if (!isAlias && own.userId_) {
            event["userId"] = *own.userId_;
        }
        const auto analytics = own.analytics_.lock();
        if (const auto anonymousId = analytics ? analytics->getAnonymousId() : std::nullopt) {
            event["anonymousId"] = *anonymousId;
        }
        event["integrations"] = own.integrationsDictionary(std::move(integrations));
        object whole = own.cachedStaticContext_;
        merge(whole, context);
        event["context"] = std::move(whole);
        KIV_SEG_LOG("%@ Enqueueing action: %@", self, kiv::compactJson(event));
        own.queuePayload(std::move(event));
    });
}

void KIVSEGSegmentIntegration::queuePayload(object event) {
    const auto failure = kiv::failureOf([&] {
        queue_->append(std::move(event));
        flushQueueByLength();
    });
    if (failure) {
        KIV_SEG_LOG("%@ Error writing payload: %@", self, failure->what());
    }
}

void KIVSEGSegmentIntegration::flushQueueByLength() {
    KIV_SEG_LOG("%@ Length is %lu.", self, queue_->size());
    if (!queue_->isUploading() && !queue_->hasFailed() && queue_->size() >= configuration_->flushAt) {
        flush();
    }
}

void KIVSEGSegmentIntegration::flushWithMaxSize(std::size_t maxSize) {
    dispatch([maxSize](KIVSEGSegmentIntegration& own) { own.flushNow(maxSize); });
}

void KIVSEGSegmentIntegration::flushNow(std::size_t maxSize) {
    if (queue_->size() == 0) {
        KIV_SEG_LOG("%@ No queued API calls to flush.", self);
        return;
    }
    if (queue_->isUploading()) {
        KIV_SEG_LOG("%@ API request already in progress, not flushing again.", self);
        return;
    }
    if (configuration_->url) {
        sendData(queue_->beginUpload(maxSize));
    }
}

void KIVSEGSegmentIntegration::sendData(array batch) {
    const object document{{"sentAt", now()}, {"batch", batch}};
    const auto sent = std::make_shared<const array>(std::move(batch));
    KIV_SEG_LOG("%@ Flushing %lu of %lu queued API calls.", self, sent->size(), queue_->size());
    KIV_SEG_LOG("Flushing batch %@.", kiv::compactJson(document));
    batchRequest_ = httpClient_->upload(document, *configuration_->url, configuration_->writeKey,
                                        [integration = shared_from_this(), sent](bool retry) {
                                            integration->serialQueue_.post([integration, sent, retry] {
                                                integration->uploadCompleted(sent, retry);
                                            });
                                        });
    if (batchRequest_) {
        notify(KIVSegmentDidSendRequestNotification, sent);
    }
}

void KIVSEGSegmentIntegration::uploadCompleted(const std::shared_ptr<const array>& batch, bool retry) {
    batchRequest_.reset();
    queue_->endUpload(*batch, retry);
    if (isClosed_) {
        queue_->persist(); // nobody may be left to write the queue later
    }
    notify(retry ? KIVSegmentRequestDidFailNotification : KIVSegmentRequestDidSucceedNotification, batch);
}

/// The object of these notifications is the batch, a `kiv::json::array` of events.
void KIVSEGSegmentIntegration::notify(std::string_view name, std::shared_ptr<const array> batch) const {
    kiv::postToMainQueue([name, batch = std::move(batch)] {
        kiv::NotificationCenter::defaultCenter().post(name, *batch);
        KIV_SEG_LOG("sent notification %@", name);
    });
}

void KIVSEGSegmentIntegration::close(std::shared_ptr<KIVSEGClosing> closing) {
    flushTimer_.cancel();
    dispatch([closing = std::move(closing)](KIVSEGSegmentIntegration& own) {
        own.isClosed_ = true;
        own.queue_->persist();
        own.awaitUpload(closing);
    });
}

/// Keeps `closing` while an upload is under way, this client's or an earlier client's. Then sends the next
/// batch, as long as somebody waits and the service accepts events.
void KIVSEGSegmentIntegration::awaitUpload(const std::shared_ptr<KIVSEGClosing>& closing) {
    if (!queue_->isUploading() || !closing->isAwaited()) {
        return;
    }
    queue_->atUploadEnd([self = shared_from_this(), closing] {
        self->serialQueue_.post([self, closing] {
            self->queue_->persist();
            if (!self->queue_->hasFailed() && closing->isAwaited()) {
                self->flushNow(maxBatchSize);
            }
            self->awaitUpload(closing);
        });
    });
}

std::string KIVSEGSegmentIntegrationFactory::key() const { return std::string(KIVSEGSegmentIntegrationKey); }

std::shared_ptr<KIVSEGIntegration>
KIVSEGSegmentIntegrationFactory::createWithSettings(const object&,
                                                    const std::shared_ptr<KIVSEGAnalytics>& analytics) const {
    return KIVSEGSegmentIntegration::create(analytics, httpClient_, storage_, queue_);
}
