#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Network/KIVEventSource.h"

/// The event that the service sends when the configuration of a key has changed.
inline constexpr const char* KIVC_pushEventName = "changed";
/// Pattern of a stream's URL: the URL of the push endpoint, a slash, the key.
inline constexpr std::string_view KIVC_twoPartsUrl = "%@/%@";

/// Listens to the push stream of one key. Callable from any thread, also from its own handlers, which may
/// destroy the listener too.
class KIVNotificationListener {
public:
    using Handler = std::function<void(const KIVServerSentEvent& event)>;

    /// Opens the stream at once. `url` is the URL of the push endpoint.
    KIVNotificationListener(std::string_view key, std::string_view url,
                            KIVEventSource::OpenStream openStream = kiv::openHttpStream);
    /// Calls `stop`.
    ~KIVNotificationListener();
    KIVNotificationListener(const KIVNotificationListener&) = delete;
    KIVNotificationListener& operator=(const KIVNotificationListener&) = delete;

    /// Calls the handler for each event of that name, on the library's work thread. Exceptions are dropped.
    void on(std::string event, Handler handler);

    /// Ends the stream. No handler is called from then on; a handler that is running runs to its end.
    void stop();

    /// Whether no event will come any more: the stream has failed or ended, or was stopped.
    bool hasEnded() const;

private:
    const std::shared_ptr<KIVEventSource> source_;
};
