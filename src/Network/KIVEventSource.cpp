#include "Network/KIVEventSource.h"

#include <algorithm>
#include <utility>

#include "Network/KIVEventStreamBuffer.h"
#include "Platform/Crypto/Uuid.h"
#include "Platform/Threads/Fork.h"
#include "Platform/Threads/ThreadEnd.h"
#include "Runtime/KIVDebugger.h"

namespace {

/// At most this many bytes of a stream may wait for its listeners; a stream with more fails.
constexpr std::size_t maxWaitingBytes = 16U << 20;

kiv::TransportError listenersTooSlow() {
    return {std::string(kiv::urlErrorDomain), kiv::TransportError::tooLarge,
            kiv::format("more than %@ MiB of the stream wait for its listeners", maxWaitingBytes >> 20U)};
}

/// Calls a listener or the delegate, and drops what it throws.
template <class Callback, class... Arguments>
void call(const Callback& callback, Arguments&&... arguments) {
    try {
        callback(std::forward<Arguments>(arguments)...);
    } catch (const kiv::ThreadEnd&) {
        throw;
    } catch (...) {
    }
}

} // namespace

struct KIVEventSource::Stream {
    Stream(std::weak_ptr<KIVEventSource> itsSource, kiv::SerialQueue itsQueue)
        : source(std::move(itsSource)), queue(std::move(itsQueue)) {}

    const std::weak_ptr<KIVEventSource> source;
    kiv::SerialQueue queue;
    std::atomic<std::size_t> waitingBytes = 0; ///< received, and not taken up by the queue yet

    // Used on the queue only.
    KIVEventStreamBuffer buffer;
    std::shared_ptr<kiv::HttpTask> task; ///< null when no request is under way
};

KIVEventSource::KIVEventSource(std::string URL, OpenStream openStream)
    : URL_(std::move(URL)), openStream_(std::move(openStream)) {}

KIVEventSource::~KIVEventSource() {
    // Work on the queue keeps the source alive, so nothing else uses the task now.
    if (const auto task = stream_ ? std::exchange(stream_->task, nullptr) : nullptr) {
        task->cancel();
    }
}

std::shared_ptr<KIVEventSourceDelegate> KIVEventSource::delegate() const {
    const kiv::Lock lock(lock_);
    return delegate_.lock();
}

void KIVEventSource::setDelegate(std::weak_ptr<KIVEventSourceDelegate> delegate) {
    const kiv::Lock lock(lock_);
    delegate_.swap(delegate);
}

KIVEventSource::State KIVEventSource::state() const {
    const kiv::Lock lock(lock_);
    return state_;
}

void KIVEventSource::open() {
    const auto stream = std::make_shared<Stream>(weak_from_this(), queue_);
    {
        const kiv::Lock lock(lock_);
        const bool wasOpened = stream_ || state_ != State::connecting;
        if (wasOpened && state_ != State::failed) {
            return;
        }
        state_ = State::connecting;
        stream_ = stream;
    }
    enqueue(stream, [stream](KIVEventSource& source) { source.transitionToConnecting(stream); });
}

void KIVEventSource::close() {
    if (transition({State::connecting, State::open, State::failed}, State::closing)) {
        queue_.post([weak = weak_from_this()] {
            if (const auto source = weak.lock()) {
                source->transitionToClosing();
            }
        });
    }
}

void KIVEventSource::enqueue(const SharedStream& stream, std::function<void(KIVEventSource&)> work) {
    stream->queue.post([stream, work = std::move(work)] {
        const auto source = stream->source.lock();
        if (source && source->presentStream() == stream) {
            work(*source);
        }
    });
}

void KIVEventSource::transitionToConnecting(const SharedStream& stream) {
    if (state() != State::connecting) {
        return; // closed meanwhile
    }
    kiv::HttpRequest request{.url = URL_,
                             .headers = {{"Accept", "text/event-stream"}, {"Cache-Control", "no-cache"}},
                             .idleTimeout = 0};
    kiv::HttpStreamHandlers handlers;
    handlers.responded = [stream](int) {
        enqueue(stream, [](KIVEventSource& source) { source.transitionToOpenIfNeeded(); });
    };
    handlers.received = [stream](std::string_view bytes) {
        if (stream->waitingBytes.fetch_add(bytes.size()) + bytes.size() > maxWaitingBytes) {
            enqueue(stream,
                    [](KIVEventSource& source) { source.transitionToFailedWithError(listenersTooSlow()); });
            return;
        }
        stream->queue.post([stream, text = std::string(bytes)] {
            stream->waitingBytes -= text.size();
            didReceiveData(stream, text);
        });
    };
    handlers.completed = [stream](const std::optional<kiv::TransportError>& error) {
        enqueue(stream, [error](KIVEventSource& source) { source.didCompleteWithError(error); });
    };
    stream->task = openStream_(std::move(request), std::move(handlers));
}

void KIVEventSource::transitionToOpenIfNeeded() {
    if (transition({State::connecting}, State::open)) {
        tellDelegate([this](KIVEventSourceDelegate& delegate) { delegate.eventSourceDidOpen(*this); });
    }
}

void KIVEventSource::transitionToClosing() {
    const auto stream = presentStream();
    if (stream && stream->task) {
        stream->buffer.clear();
        stream->task->cancel();
    } else {
        transitionToClosed();
    }
}

void KIVEventSource::transitionToClosed() {
    if (transition({State::closing}, State::closed)) {
        tellDelegate([this](KIVEventSourceDelegate& delegate) { delegate.eventSourceDidClose(*this); });
    }
}

void KIVEventSource::transitionToFailedWithError(const std::optional<kiv::TransportError>& error) {
    if (!transition({State::connecting, State::open, State::closing}, State::failed)) {
        return;
    }
    const auto stream = presentStream();
    stream->buffer.clear();
    if (const auto task = std::exchange(stream->task, nullptr)) {
        task->cancel();
    }
    tellDelegate([&](KIVEventSourceDelegate& delegate) { delegate.eventSource(*this, error); });
}

void KIVEventSource::didCompleteWithError(const std::optional<kiv::TransportError>& error) {
    presentStream()->task = nullptr;
    if (state() == State::closing && error && error->code == kiv::TransportError::cancelled) {
        transitionToClosed();
    } else {
        transitionToFailedWithError(error);
    }
}

void KIVEventSource::didReceiveData(const SharedStream& stream, std::string_view bytes) {
    // Each step takes the source anew: a callback of the step before may have closed or released the source.
    if (openSource(stream)) {
        stream->buffer.append(bytes);
    }
    std::optional<kiv::TransportError> error;
    while (openSource(stream)) {
        const auto event = stream->buffer.nextEvent(error);
        if (!event) {
            break;
        }
        announce(stream, *event);
    }
    if (const auto source = error ? openSource(stream) : nullptr) {
        source->transitionToFailedWithError(error);
    }
}

void KIVEventSource::announce(const SharedStream& stream, const KIVServerSentEvent& event) {
    Listeners listeners;
    if (const auto source = openSource(stream)) {
        listeners = source->listenersForEvent(event);
    }
    for (const auto& listener : listeners) {
        if (openSource(stream) && !listener->isRemoved) {
            call(listener->handler, event, std::nullopt);
        }
    }
    if (const auto source = openSource(stream)) {
        source->tellDelegate([&](KIVEventSourceDelegate& delegate) { delegate.eventSource(*source, event); });
    }
}

std::shared_ptr<KIVEventSource> KIVEventSource::openSource(const SharedStream& stream) {
    auto source = stream->source.lock();
    if (source) {
        const kiv::Lock lock(source->lock_);
        if (source->stream_ == stream && source->state_ == State::open) {
            return source;
        }
    }
    return nullptr;
}

KIVEventSource::SharedStream KIVEventSource::presentStream() const {
    const kiv::Lock lock(lock_);
    return stream_;
}

bool KIVEventSource::transition(std::initializer_list<State> from, State to) {
    const kiv::Lock lock(lock_);
    if (std::find(from.begin(), from.end(), state_) == from.end()) {
        return false;
    }
    state_ = to;
    return true;
}

void KIVEventSource::tellDelegate(const std::function<void(KIVEventSourceDelegate&)>& tell) {
    if (const auto listening = delegate()) {
        call(tell, *listening);
    }
}

KIVEventSource::Identifier KIVEventSource::addListenerForEvent(std::string event,
                                                               EventHandler usingEventHandler) {
    const Identifier identifier = std::hash<std::string>()(kiv::newUuid());
    const std::shared_ptr<Listener> listener(new Listener{identifier, std::move(usingEventHandler)});
    const kiv::Lock lock(lock_);
    listenersKeyedByEvent_[std::move(event)].push_back(listener);
    return identifier;
}

void KIVEventSource::removeEventListenerWithIdentifier(Identifier identifier) {
    std::shared_ptr<Listener> removed; // destroyed after the unlock: that may run the application's code
    const kiv::Lock lock(lock_);
    for (auto& [event, listeners] : listenersKeyedByEvent_) {
        const auto found = std::find_if(listeners.begin(), listeners.end(), [&](const auto& listener) {
            return listener->identifier == identifier;
        });
        if (found != listeners.end()) {
            removed = std::move(*found);
            removed->isRemoved = true;
            listeners.erase(found);
            return;
        }
    }
}

void KIVEventSource::removeAllListenersForEvent(std::string_view event) {
    Listeners removed; // destroyed after the unlock, too
    const kiv::Lock lock(lock_);
    const auto found = listenersKeyedByEvent_.find(std::string(event));
    if (found != listenersKeyedByEvent_.end()) {
        removed = std::move(found->second);
        listenersKeyedByEvent_.erase(found);
        for (const auto& listener : removed) {
            listener->isRemoved = true;
        }
    }
}

KIVEventSource::Listeners KIVEventSource::listenersForEvent(const KIVServerSentEvent& event) const {
    const kiv::Lock lock(lock_);
    const auto found =
        event.event() ? listenersKeyedByEvent_.find(*event.event()) : listenersKeyedByEvent_.end();
    return found == listenersKeyedByEvent_.end() ? Listeners() : found->second;
}
