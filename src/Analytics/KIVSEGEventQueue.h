#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "Analytics/KIVSEGStorage.h"
#include "Platform/Text/Json.h"
#include "Platform/Threads/Queues.h"

/// The events that wait to be sent, in memory and in a storage. For one serial queue's tasks alone.
///
/// It holds the newest `maxQueueSize` events, and no more than `maxQueueBytes` of them. It is read when it is
/// first asked for. A change is written when no task waits any more, at the latest after a second; a process
/// that keeps changing a large queue writes more seldom, once it has written `writesAtWill` bytes. What could
/// not be written is written with a later change, or by the next call of `persist`.
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

    /// Drops the oldest when there are too many. Throws "InvalidArgument" for an event that is too large, or
    /// nests too deep, to be kept.
    void append(kiv::json::value event);

    std::size_t size() { return events().size(); }

    /// So many of the oldest events, or all.
    kiv::json::array oldest(std::size_t count);

    /// Removes those events of the batch that are in it still.
    void remove(const kiv::json::array& batch);

    /// Writes what has not been written.
    void persist();

    /// Another one has the storage by now: what is written from here on is what stands there, changed.
    void readAgain();

private:
    kiv::json::array& events();
    void dropOldest(std::size_t count);
    void changed();
    void persistIfAllowed();

    const std::shared_ptr<KIVSEGStorage> storage_;
    kiv::SerialQueue serialQueue_;
    std::optional<kiv::json::array> events_; ///< nothing until they have been read
    std::size_t bytes_ = 0;                  ///< about, of all events
    bool isChanged_ = false;                 ///< since it was written
    std::chrono::steady_clock::time_point changedAt_;
    double credit_ = writesAtWill; ///< bytes that may be written at will
    std::chrono::steady_clock::time_point creditedAt_;
    kiv::Timer lateWrite_;
};
