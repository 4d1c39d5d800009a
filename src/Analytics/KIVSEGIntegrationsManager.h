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
#include "Analytics/KIVSEGFileStorage.h"
#include "Analytics/KIVSEGIntegration.h"
#include "Analytics/KIVSEGMiddleware.h"
#include "Flags/KIVImpressionEvents.h"
#include "Platform/Threads/Queues.h"

class KIVSEGAnalytics;

/// The key of the integration that sends events to the service.
inline constexpr std::string_view KIVSEGSegmentIntegrationKey = "corvane";

/// The last middleware: makes the integrations, and passes each call to the integrations that the call's
/// options and the plan allow, on a serial queue of its own.
///
/// Calls wait for that queue in order. Of the tracked events that wait, the manager keeps the newest
/// `mostWaiting`, and fewer when these exceed `mostBytesWaiting`: the event queue could not hold more. The
/// number of other calls has no limit. Callable from any thread.
class KIVSEGIntegrationsManager : public KIVSEGMiddleware,
                                  public std::enable_shared_from_this<KIVSEGIntegrationsManager> {
public:
    static constexpr std::size_t mostWaiting = KIVSEGEventQueue::maxQueueSize;
    static constexpr std::size_t mostBytesWaiting = KIVSEGEventQueue::maxQueueBytes;

    explicit KIVSEGIntegrationsManager(std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration);

    /// To be called once, before anything else: reads the files of the client and makes the integrations, on
    /// the queue. Calls that come meanwhile wait.
    void start(std::shared_ptr<KIVSEGAnalytics> analytics);

    /// Throws "InternalInconsistency" for a context without an event type, and for one whose payload belongs
    /// to another type.
    void context(Context context, const Next& next) override;

    /// Takes an impression that passes no middleware.
    void enqueue(KIVImpressionEvent impression);

    /// Closes the integrations, after all earlier calls have been carried out. Waits `patience` seconds at
    /// most until they have done what `KIVSEGIntegration::close` asks of them; does not wait when it is
    /// called on the library's work thread. With `sends` they first send the events that wait.
    void close(double patience, bool sends);

    /// nullopt until `start` has read or made the identifier.
    std::optional<std::string> getAnonymousId() const;

    /// The keys of the integrations, each with the value false.
    kiv::json::object registeredIntegrations() const;
    bool initialized() const { return initialized_; }

    /// Whether the options of a call allow the integration of that key. The first of the entries for the key,
    /// "All" and "all" decides; without any entry, the integration is allowed. `KIVSEGSegmentIntegrationKey`
    /// is always allowed.
    static bool isIntegration(std::string_view key, const kiv::json::object& options);

    /// Whether the plan allows the integration of that key to have an event. When the event has an entry
    /// under "track", its "enabled" must be true, and its "integrations" decide as the options of a call do.
    static bool isTrackEvent(std::string_view event, std::string_view key, const kiv::json::object& plan);

private:
    struct Message {
        KIVSEGEventType type;
        std::shared_ptr<const KIVSEGPayload> payload = {};
        std::size_t size = 0; ///< approximate, in bytes; 0 for calls that are no tracked event
        std::optional<KIVImpressionEvent> impression = {}; ///< becomes the payload on the queue
    };

    // The functions below, up to `forward`, run on the queue.
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

    const std::shared_ptr<const KIVSEGAnalyticsConfiguration> configuration_;
    kiv::SerialQueue serialQueue_;
    std::atomic<bool> initialized_{false};

    // Used on the queue alone.
    std::shared_ptr<KIVSEGFileStorage> storage_;
    std::map<std::string, std::shared_ptr<KIVSEGIntegration>> integrations_;
    kiv::json::object plan_;

    mutable std::mutex lock_; ///< guards the members below
    std::deque<Message> messageQueue_;
    std::size_t tracksWaiting_ = 0;
    std::size_t bytesWaiting_ = 0;
    bool isFlushPosted_ = false;
    std::optional<std::string> anonymousId_;
    kiv::json::object registeredIntegrations_;
};
