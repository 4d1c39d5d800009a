#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "Analytics/KIVSEGStorage.h"
#include "Platform/Text/Json.h"
#include "Platform/Threads/Queues.h"

/// The events that wait to be sent, in memory and in a storage. Used by the tasks of one serial queue only.
///
/// The queue holds the newest `maxQueueSize` events, and fewer when these exceed `maxQueueBytes`. It is read
/// from the storage at its first use. A change is written when no task is waiting any more, after a second at
/// the latest. A queue that has written `writesAtWill` bytes is slowed down to `writesPerSecond`. A write
/// that failed is repeated with a later change or by the next call of `persist`.
class KIVSEGEventQueue : public std::enable_shared_from_this<KIVSEGEventQueue> {
public:
    /// The member that holds an event's identity, a text. Every event in the queue has one.
    static constexpr std::string_view identityKey = "messageId";

    static constexpr std::size_t maxQueueSize = 1000;         ///< events
    static constexpr std::size_t maxQueueBytes = 4U << 20;    ///< as kiv::approximateSize counts
    static constexpr std::size_t deepestEvent = 400;          ///< levels of nesting
    static constexpr std::size_t writesAtWill = 16U << 20;    ///< bytes
    static constexpr std::size_t writesPerSecond = 64U << 10; ///< bytes, once `writesAtWill` are used up

    KIVSEGEventQueue(std::shared_ptr<KIVSEGStorage> storage, kiv::SerialQueue serialQueue);

    /// Adds an event at the end, and drops the oldest events when the queue is full. Throws "InvalidArgument"
    /// for an event of more than `maxQueueBytes`, or one that nests deeper than `deepestEvent`.
    void append(kiv::json::value event);

    std::size_t size() { return events().size(); }

    /// The oldest `count` events; all of them when there are fewer.
    kiv::json::array oldest(std::size_t count);

    /// Removes the events of `batch` that are still in the queue.
    void remove(const kiv::json::array& batch);

    /// Writes the queue at once, if it has changed since it was written.
    void persist();

    /// Forgets the events in memory; the next use reads them from the storage again. For a client that was
    /// closed: another client of its key may have written the storage since.
    void readAgain();

private:
    kiv::json::array& events();
    void dropOldest(std::size_t count);
    void changed();
    void persistIfAllowed();

    const std::shared_ptr<KIVSEGStorage> storage_;
    kiv::SerialQueue serialQueue_;
    std::optional<kiv::json::array> events_;          ///< nullopt until they have been read
    std::size_t bytes_ = 0;                           ///< approximate size of all events
    bool isChanged_ = false;                          ///< since the last write
    std::chrono::steady_clock::time_point changedAt_; ///< oldest unwritten change, or last write
    double credit_ = writesAtWill; ///< bytes that may be written; below zero, the next write waits
    std::chrono::steady_clock::time_point creditedAt_; ///< when `credit_` was last raised
    kiv::Timer lateWrite_;
};
