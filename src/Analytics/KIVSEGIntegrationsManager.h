#pragma once

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Analytics/KIVSEGAnalyticsConfiguration.h"
#include "Analytics/KIVSEGEventQueue.h"
#include "Analytics/KIVSEGIntegration.h"
#include "Analytics/KIVSEGMiddleware.h"
#include "Analytics/KIVSEGStorage.h"
#include "Platform/Threads/Queues.h"

class KIVSEGAnalytics;

/// The key of the integration that sends events to the service.
inline constexpr std::string_view KIVSEGSegmentIntegrationKey = "corvane";

/// The last middleware: makes the integrations and passes each call on to those that are to have it, one
/// after the other on a queue of its own.
///
/// Calls that wait for the queue are kept in order. Of events that are tracked faster than they can be taken,
/// the newest `mostWaiting` are kept, and no more than `mostBytesWaiting` of them: no more would fit where
/// they are going. Other calls have no bound. Callable from any thread.
class KIVSEGIntegrationsManager : public KIVSEGMiddleware,
                                  public std::enable_shared_from_this<KIVSEGIntegrationsManager> {
public:
    static constexpr std::size_t mostWaiting = KIVSEGEventQueue::maxQueueSize;
    static constexpr std::size_t mostBytesWaiting = KIVSEGEventQueue::maxQueueBytes;

    explicit KIVSEGIntegrationsManager(std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration);

    /// Once, first: reads what was kept, and makes the integrations. What is called meanwhile waits.
    void start(std::shared_ptr<KIVSEGAnalytics> analytics);

    /// Throws "InternalInconsistency" for a context without an event type, or whose payload is of another
    /// one.
    void context(Context context, const Next& next) override;

    /// Closes the integrations after all calls so far. With `patience`, in seconds, waits for that so long at
    /// most, but never on the library's work thread.
    void close(double patience);

    std::optional<std::string> getAnonymousId() const;

    /// The keys of the integrations, each with the value NO.
    kiv::json::object registeredIntegrations() const;
    bool initialized() const { return initialized_; }

    /// Whether a call's options leave an integration in: by the entry for its key, for "All" or for "all".
    static bool isIntegration(std::string_view key, const kiv::json::object& options);

    /// Whether the plan leaves a tracked event to an integration: an entry under "track" whose "enabled" is
    /// not true keeps it from all, and its "integrations" decide as a call's options do.
    static bool isTrackEvent(std::string_view event, std::string_view key, const kiv::json::object& plan);

private:
    struct Message {
        KIVSEGEventType type;
        std::shared_ptr<const KIVSEGPayload> payload;
        std::size_t size = 0; ///< about, in bytes; zero for what is not tracked
    };

    // All that follows runs on the queue.
    void initialize(const std::shared_ptr<KIVSEGAnalytics>& analytics);
    void loadOrGenerateAnonymousID(bool reset);
    void refreshSettings(const std::shared_ptr<KIVSEGAnalytics>& analytics);
    void setCachedSettings(const kiv::json::object& settings,
                           const std::shared_ptr<KIVSEGAnalytics>& analytics);
    kiv::json::object cachedSettings() const;
    void updateIntegrationsWithSettings(const kiv::json::object& settings,
                                        const std::shared_ptr<KIVSEGAnalytics>& analytics);
    void flushMessageQueue();
    void forward(const Message& message);

    void enqueue(Message message);
    static std::size_t sizeOf(const Message& message);

    const std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration_;
    kiv::SerialQueue serialQueue_;
    std::atomic<bool> initialized_{false};

    // Used on the queue alone.
    std::shared_ptr<KIVSEGStorage> storage_;
    std::map<std::string, std::shared_ptr<KIVSEGIntegration>> integrations_;
    kiv::json::object plan_;

    mutable std::mutex lock_; ///< for what follows
    std::deque<Message> messageQueue_;
    std::size_t tracksWaiting_ = 0;
    std::size_t bytesWaiting_ = 0;
    bool isFlushPosted_ = false;
    std::optional<std::string> anonymousId_;
    kiv::json::object registeredIntegrations_;
};
