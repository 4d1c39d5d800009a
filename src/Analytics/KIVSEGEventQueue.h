#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Analytics/KIVSEGQueueFiles.h"
#include "Analytics/KIVSEGStorage.h"
#include "Platform/Text/Json.h"
#include "Platform/Threads/Queues.h"

/// The events that wait to be sent, in memory and in a storage, and what of them is under way. Used by tasks
/// of serial queues only; the clients of one key share a queue (`KIVSEGEventQueues`).
///
/// The queue holds the newest `maxQueueSize` events, and fewer when these exceed `maxQueueBytes`. It is read
/// from the storage at its first use. A change is written when no task is waiting any more, after a second at
/// the latest, and new events before they are sent. A queue that has written `writesAtWill` bytes is slowed
/// down to `writesPerSecond`. Meanwhile uploads do not wait for writes: an event that is sent before it is on
/// disk is safer than one that waits for both. A write that failed is repeated with a later change or by the
/// next call of `persist`.
class KIVSEGEventQueue : public std::enable_shared_from_this<KIVSEGEventQueue> {
public:
    /// The member that holds an event's identity, a text. Every event in the queue has one.
    static constexpr std::string_view identityKey = "messageId";

    /// The member that holds the time of an event, a text.
    static constexpr std::string_view timeKey = "timestamp";

    static constexpr std::size_t maxQueueSize = 1000;          ///< events
    static constexpr std::size_t maxQueueBytes = 4U << 20;     ///< as kiv::approximateSize counts
    static constexpr std::size_t deepestEvent = 400;           ///< levels of nesting
    static constexpr std::size_t writesAtWill = 8U << 20;      ///< bytes
    static constexpr std::size_t writesPerSecond = 128U << 10; ///< bytes, once `writesAtWill` are used up

    /// The queue is kept in the storage under the name of the process's file among `files`.
    KIVSEGEventQueue(std::shared_ptr<KIVSEGStorage> storage, std::shared_ptr<KIVSEGQueueFiles> files);

    /// Replaces the storage by one of the same folder, which may encrypt otherwise: the next write goes
    /// there.
    void setStorage(std::shared_ptr<KIVSEGStorage> storage) { storage_ = std::move(storage); }

    /// Adds an event at the end, and drops the oldest events when the queue is full. Throws "InvalidArgument"
    /// for an event of more than `maxQueueBytes`, or one that nests deeper than `deepestEvent`.
    void append(kiv::json::value event);

    std::size_t size() { return events().size(); }

    /// Takes the oldest `count` events for an upload, all of them when there are fewer. They stay in the
    /// queue until `endUpload`, and are under way until then. Not to be called during an upload.
    kiv::json::array beginUpload(std::size_t count);
    /// Ends the upload of `batch`. Removes the events of `batch` that are still in the queue, unless the
    /// upload has failed.
    void endUpload(const kiv::json::array& batch, bool hasFailed);
    bool isUploading() const { return isUploading_; }
    /// Whether the last upload has failed, and none has begun since.
    bool hasFailed() const { return hasFailed_; }
    /// Calls the task once, when the upload under way has ended.
    void atUploadEnd(std::function<void()> task) { atUploadEnd_.push_back(std::move(task)); }

    /// Takes over the events that processes which have ended left in their files, as far as the queue has
    /// room for whole files. The first use of the queue does so too. Does nothing during an upload.
    void adopt();

    /// Writes the queue at once, however much was written before, if it has changed since it was written.
    void persist();

private:
    kiv::json::array& events();
    void adopt(const std::string& file);
    void dropOldest(std::size_t count);
    void removeFirst(std::size_t count);
    void remove(const kiv::json::array& batch);
    void changed();
    bool mayWrite();
    void persistIfAllowed();

    std::shared_ptr<KIVSEGStorage> storage_;
    const std::shared_ptr<KIVSEGQueueFiles> files_;
    kiv::SerialQueue serialQueue_;
    std::optional<kiv::json::array> events_; ///< nullopt until they have been read
    std::size_t bytes_ = 0;                  ///< approximate size of all events
    std::size_t written_ = 0;                ///< the oldest events, this many, are on disk
    bool isUploading_ = false;
    bool hasFailed_ = false;
    std::vector<std::function<void()>> atUploadEnd_;
    bool isChanged_ = false;                          ///< since the last write
    std::chrono::steady_clock::time_point changedAt_; ///< oldest unwritten change, or last write
    double credit_ = writesAtWill; ///< bytes that may be written; below zero, the next write waits
    std::chrono::steady_clock::time_point creditedAt_; ///< when `credit_` was last raised
    bool isWriteDelayed_ = false;                      ///< `lateWrite_` runs
    kiv::Timer lateWrite_;
};
