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

/// Receives a source's events and changes of state, on the source's queue. The source drops exceptions that
/// the delegate throws.
class KIVEventSourceDelegate {
public:
    virtual ~KIVEventSourceDelegate() = default;

    virtual void eventSourceDidOpen(KIVEventSource&) {}
    virtual void eventSource(KIVEventSource&, const KIVServerSentEvent& /*didReceiveEvent*/) {}
    /// The stream has failed. Without an error, the server has ended it.
    virtual void eventSource(KIVEventSource&,
                             const std::optional<kiv::TransportError>& /*didFailWithError*/) {}
    virtual void eventSourceDidClose(KIVEventSource&) {}
};

/// Listens to a stream of server-sent events. The source does not reopen a stream that fails or ends; `open`
/// does.
///
/// A shared pointer owns the source; releasing the last one ends the stream. Callable from any thread, also
/// from the source's own callbacks, which may release the source too. Listeners and delegate are called one
/// after the other on the source's serial queue, with no lock held. Once the source is closed or released, no
/// further listener is called; a listener that is running at that moment runs to its end.
class KIVEventSource : public std::enable_shared_from_this<KIVEventSource> {
public:
    enum class State : int { connecting = 0, open = 1, closed = 2, closing = 3, failed = 4 };
    using OpenStream =
        std::function<std::shared_ptr<kiv::HttpTask>(kiv::HttpRequest, kiv::HttpStreamHandlers)>;
    /// Called for each event; `error` is nullopt. The source drops exceptions of the handler.
    using EventHandler =
        std::function<void(const KIVServerSentEvent& event, const std::optional<kiv::TransportError>& error)>;
    using Identifier = std::size_t;

    /// `openStream` performs the request. It may call the handlers from any thread.
    explicit KIVEventSource(std::string URL, OpenStream openStream = kiv::openHttpStream);
    ~KIVEventSource();
    KIVEventSource(const KIVEventSource&) = delete;
    KIVEventSource& operator=(const KIVEventSource&) = delete;

    const std::string& URL() const { return URL_; }
    std::shared_ptr<KIVEventSourceDelegate> delegate() const;
    void setDelegate(std::weak_ptr<KIVEventSourceDelegate> delegate);

    /// `connecting` also before the first `open`.
    State state() const;
    bool isConnecting() const { return state() == State::connecting; }
    bool isOpen() const { return state() == State::open; }
    bool isClosed() const { return state() == State::closed; }
    bool isClosing() const { return state() == State::closing; }

    /// Opens the stream, or opens it again after it has failed. Has no effect while the stream is connecting
    /// or open, and after `close`.
    void open();
    /// Ends the stream for good.
    void close();

    /// Calls the handler for each event of that name. Handlers of one name run in the order of their
    /// addition.
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

    // These run work for `stream` on the queue. The work has no effect once the source is gone or has another
    // stream.
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
    /// Changes the state to `to`. Returns false, without effect, when the present state is not among `from`.
    bool transition(std::initializer_list<State> from, State to);
    void tellDelegate(const std::function<void(KIVEventSourceDelegate& delegate)>& tell);

    const std::string URL_;
    const OpenStream openStream_;
    kiv::SerialQueue queue_;
    mutable std::mutex lock_; ///< guards the members below; not held during callbacks
    State state_ = State::connecting;
    SharedStream stream_; ///< the latest stream; null before the first `open`
    std::unordered_map<std::string, Listeners> listenersKeyedByEvent_;
    std::weak_ptr<KIVEventSourceDelegate> delegate_;
};
