#include "Network/KIVNotificationListener.h"

#include <utility>

#include "Runtime/KIVDebugger.h"

KIVNotificationListener::KIVNotificationListener(std::string_view key, std::string_view url,
                                                 KIVEventSource::OpenStream openStream)
    : source_(
          std::make_shared<KIVEventSource>(kiv::format(KIVC_twoPartsUrl, url, key), std::move(openStream))) {
    source_->open();
}

KIVNotificationListener::~KIVNotificationListener() { stop(); }

void KIVNotificationListener::on(std::string event, Handler handler) {
    source_->addListenerForEvent(
        std::move(event),
        [handler = std::move(handler)](const KIVServerSentEvent& received, const auto& error) {
            if (!error) {
                handler(received);
            }
        });
}

void KIVNotificationListener::stop() { source_->close(); }

bool KIVNotificationListener::hasEnded() const {
    const auto state = source_->state();
    return state != KIVEventSource::State::connecting && state != KIVEventSource::State::open;
}
