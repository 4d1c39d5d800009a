#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Network/KIVEventSource.h"

/// What the service announces when the configuration of a key has changed.
inline constexpr const char* KIVC_pushEventName = "changed";
inline constexpr std::string_view KIVC_twoPartsUrl = "%@/%@";

/// Listens to what the service announces for one key. Callable from any thread, and from inside its own
/// handlers; there it may also be destroyed.
class KIVNotificationListener {
public:
    using Handler = std::function<void(const KIVServerSentEvent& event)>;

    /// Opens the stream at once. `url` is that of the push endpoint.
    KIVNotificationListener(std::string_view key, std::string_view url,
                            KIVEventSource::OpenStream openStream = kiv::openHttpStream);
    /// Stops.
    ~KIVNotificationListener();
    KIVNotificationListener(const KIVNotificationListener&) = delete;
    KIVNotificationListener& operator=(const KIVNotificationListener&) = delete;

    /// Calls the handler for each event of that name, on a queue of the library's; what it throws ends with
    /// it.
    void on(std::string event, Handler handler);

    /// Ends the stream; no handler starts any more.
    void stop();

    /// Whether no event will come any more: the stream has failed or ended, or was stopped.
    bool hasEnded() const;

private:
    const std::shared_ptr<KIVEventSource> source_;
};
