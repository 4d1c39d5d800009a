#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Network/KIVServerSentEvent.h"
#include "Platform/Http/HttpClient.h"
#include "Platform/Threads/Queues.h"

class KIVEventSource;

/// Hears of what becomes of a source, on the source's queue. What an operation throws ends with it.
class KIVEventSourceDelegate {
public:
    virtual ~KIVEventSourceDelegate() = default;

    virtual void eventSourceDidOpen(KIVEventSource&) {}
    virtual void eventSource(KIVEventSource&, const KIVServerSentEvent& /*didReceiveEvent*/) {}
    /// No error when the server has ended the stream.
    virtual void eventSource(KIVEventSource&,
                             const std::optional<kiv::TransportError>& /*didFailWithError*/) {}
    virtual void eventSourceDidClose(KIVEventSource&) {}
};

/// Listens to a stream of server-sent events. A stream that fails or ends is not opened again by itself.
///
/// Belongs to a shared pointer. Callable from any thread, and from inside its own callbacks; there it may
/// also be let go of, which ends the stream. Listeners and delegate run one after the other on the source's
/// serial queue, with no lock held. Once the source was closed or let go of, no listener starts any more; one
/// that had started may still be at work on the queue.
class KIVEventSource : public std::enable_shared_from_this<KIVEventSource> {
public:
    enum class State : int { connecting = 0, open = 1, closed = 2, closing = 3, failed = 4 };
    using OpenStream =
        std::function<std::shared_ptr<kiv::HttpTask>(kiv::HttpRequest, kiv::HttpStreamHandlers)>;
    /// Events come without an error. What a listener throws ends with it.
    using EventHandler =
        std::function<void(const KIVServerSentEvent& event, const std::optional<kiv::TransportError>& error)>;
    using Identifier = std::size_t;

    /// `openStream` performs the request; whatever it tells may come from any thread.
    explicit KIVEventSource(std::string URL, OpenStream openStream = kiv::openHttpStream);
    ~KIVEventSource();
    KIVEventSource(const KIVEventSource&) = delete;
    KIVEventSource& operator=(const KIVEventSource&) = delete;

    const std::string& URL() const { return URL_; }
    std::shared_ptr<KIVEventSourceDelegate> delegate() const;
    void setDelegate(std::weak_ptr<KIVEventSourceDelegate> delegate);

    /// `connecting` also before it was opened.
    State state() const;
    bool isConnecting() const { return state() == State::connecting; }
    bool isOpen() const { return state() == State::open; }
    bool isClosed() const { return state() == State::closed; }
    bool isClosing() const { return state() == State::closing; }

    /// Opens the stream; also one that has failed. Without effect on one that is under way or was closed.
    void open();
    /// Ends the stream for good.
    void close();

    /// Calls the handler for each event of that name, after those that were added before.
    Identifier addListenerForEvent(std::string event, EventHandler usingEventHandler);
    void removeEventListenerWithIdentifier(Identifier identifier);
    void removeAllListenersForEvent(std::string_view event);

private:
    struct Listener {
        Identifier identifier;
        EventHandler handler;
        std::atomic<bool> isRemoved = false;
    };
    using Listeners = std::vector<std::shared_ptr<Listener>>;
    /// One request of the source.
    struct Stream;
    using SharedStream = std::shared_ptr<Stream>;

    // What follows runs on the queue. A source that was let go of meanwhile does not mind.
    static void enqueue(const SharedStream& stream, std::function<void(KIVEventSource& source)> work);
    static void didReceiveData(const SharedStream& stream, std::string_view bytes);
    static void announce(const SharedStream& stream, const KIVServerSentEvent& event);
    static std::shared_ptr<KIVEventSource> openSource(const SharedStream& stream);

    void transitionToConnecting(const SharedStream& stream);
    void transitionToOpenIfNeeded();
    void transitionToClosing();
    void transitionToClosed();
    void transitionToFailedWithError(const std::optional<kiv::TransportError>& error);
    void didCompleteWithError(const std::optional<kiv::TransportError>& error);

    SharedStream presentStream() const;
    Listeners listenersForEvent(const KIVServerSentEvent& event) const;
    /// False, without effect, when the state is none of `from`.
    bool transition(std::initializer_list<State> from, State to);
    void tellDelegate(const std::function<void(KIVEventSourceDelegate& delegate)>& tell);

    const std::string URL_;
    const OpenStream openStream_;
    kiv::SerialQueue queue_;
    mutable std::mutex lock_; ///< for what follows; not held while anything is called
    State state_ = State::connecting;
    SharedStream stream_; ///< the latest, or null
    std::unordered_map<std::string, Listeners> listenersKeyedByEvent_;
    std::weak_ptr<KIVEventSourceDelegate> delegate_;
};
