#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Analytics/KIVSEGAnalyticsConfiguration.h"
#include "Analytics/KIVSEGEventQueue.h"
#include "Analytics/KIVSEGHTTPClient.h"
#include "Analytics/KIVSEGIntegration.h"
#include "Analytics/KIVSEGStorage.h"
#include "Platform/System/Clock.h"
#include "Platform/Threads/Queues.h"

/// Keeps events in a queue on disk and uploads them in batches: when the queue holds as many events as
/// `flushAt` of the configuration, every `flushInterval`, and at each `flush`.
///
/// New events are written to disk before they are sent, if the queue's budget allows. A closing client writes
/// its events while it sends them. Events leave the queue when the service has accepted them or has refused
/// them for good. After any other failure, the next upload waits for the timer or a `flush`, however many
/// events come meanwhile.
class KIVSEGSegmentIntegration : public KIVSEGIntegration,
                                 public std::enable_shared_from_this<KIVSEGSegmentIntegration> {
public:
    using Object = kiv::json::object;

    static constexpr std::size_t maxBatchSize = 100; ///< events
    static constexpr double flushInterval = 30;      ///< seconds

    /// Reads who the user is, and starts the timer. The integration does not keep `analytics` alive. Other
    /// clients may use `queue` too.
    static std::shared_ptr<KIVSEGSegmentIntegration> create(const std::shared_ptr<KIVSEGAnalytics>& analytics,
                                                            std::shared_ptr<KIVSEGHTTPClient> httpClient,
                                                            std::shared_ptr<KIVSEGStorage> storage,
                                                            std::shared_ptr<KIVSEGEventQueue> queue);

    void identify(const KIVSEGIdentifyPayload& payload) override;
    void track(const KIVSEGTrackPayload& payload) override;
    void screen(const KIVSEGScreenPayload& payload) override;
    void group(const KIVSEGGroupPayload& payload) override;
    void alias(const KIVSEGAliasPayload& payload) override;
    void reset() override;
    void flush() override { flushWithMaxSize(maxBatchSize); }
    void flushWithMaxSize(std::size_t maxSize);
    void registeredForRemoteNotificationsWithDeviceToken(const std::string& deviceToken) override;
    void continueUserActivity(const KIVSEGUserActivity& activity) override;
    void openURL(const std::string& url, const Object& options) override;
    void close(std::shared_ptr<KIVSEGClosing> closing) override;

    /// The address of a service that imports whole events. The integration sends nothing there.
    static std::string apiURL();

private:
    KIVSEGSegmentIntegration(const std::shared_ptr<KIVSEGAnalytics>& analytics,
                             std::shared_ptr<KIVSEGHTTPClient> httpClient,
                             std::shared_ptr<KIVSEGStorage> storage, std::shared_ptr<KIVSEGEventQueue> queue);
    void start();

    /// Runs the task on the queue; at once when the caller is a task of it.
    template <class Task>
    void dispatch(Task task);

    void enqueueAction(std::string_view action, Object dictionary, const KIVSEGPayload& payload);

    // The functions below run on the queue.
    std::optional<std::string> getUserId() const;
    void saveUserId(const std::string& userId);
    void addTraits(const Object& traits);
    Object& traits();
    Object integrationsDictionary(Object integrations) const;
    void queuePayload(Object event);
    void flushQueueByLength();
    void flushNow(std::size_t maxSize);
    void sendData(kiv::json::array batch);
    void uploadCompleted(const std::shared_ptr<const kiv::json::array>& batch, bool retry);
    void notify(std::string_view name, std::shared_ptr<const kiv::json::array> batch) const;
    void awaitUpload(const std::shared_ptr<KIVSEGClosing>& closing);

    const std::weak_ptr<KIVSEGAnalytics> analytics_;
    const std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration_;
    const std::shared_ptr<KIVSEGHTTPClient> httpClient_;
    const std::shared_ptr<KIVSEGStorage> storage_;
    kiv::SerialQueue serialQueue_;
    kiv::Timer flushTimer_;

    // Used on the queue alone.
    const std::shared_ptr<KIVSEGEventQueue> queue_;
    std::optional<Object> traits_; ///< nullopt until they have been read
    std::optional<std::string> userId_;
    Object cachedStaticContext_;
    Object referrer_;                             ///< the address that opened the application last
    std::shared_ptr<kiv::HttpTask> batchRequest_; ///< the upload under way
    bool isClosed_ = false;
};

/// Makes the `KIVSEGSegmentIntegration`, which every client has.
class KIVSEGSegmentIntegrationFactory : public KIVSEGIntegrationFactory {
public:
    KIVSEGSegmentIntegrationFactory(std::shared_ptr<KIVSEGHTTPClient> httpClient,
                                    std::shared_ptr<KIVSEGStorage> storage,
                                    std::shared_ptr<KIVSEGEventQueue> queue)
        : httpClient_(std::move(httpClient)), storage_(std::move(storage)), queue_(std::move(queue)) {}

    std::string key() const override;
    std::shared_ptr<KIVSEGIntegration>
    createWithSettings(const kiv::json::object& settings,
                       const std::shared_ptr<KIVSEGAnalytics>& analytics) const override;

private:
    const std::shared_ptr<KIVSEGHTTPClient> httpClient_;
    const std::shared_ptr<KIVSEGStorage> storage_;
    const std::shared_ptr<KIVSEGEventQueue> queue_;
};
