#include "Analytics/KIVSEGEventQueue.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include <kiv/KIVException.h>

#include "Analytics/KIVSEGFileStorage.h"
#include "Analytics/KIVSEGLog.h"
#include "Platform/System/Clock.h"

namespace {

using kiv::json::array;

constexpr std::string_view queueKey = "kiv.segmentio.queue.plist";
constexpr std::chrono::seconds longestUnwritten{1};
constexpr std::size_t bytesOfEachWrite = 4096; // the block that a small file fills

constexpr std::size_t mostFileBytesOfACharacter = 5; // "&amp;"
static_assert(KIVSEGEventQueue::maxQueueBytes * mostFileBytesOfACharacter < KIVSEGFileStorage::mostBytes,
              "a full queue can be read back");

/// The event's identity; null when the value has none, and so is no event.
const kiv::json::string* identityOf(const kiv::json::value& event) {
    return kiv::textMember(event, KIVSEGEventQueue::identityKey);
}

std::size_t sizeOf(const kiv::json::value& event) {
    return kiv::approximateSize(event, KIVSEGEventQueue::deepestEvent)
        .value_or(KIVSEGEventQueue::maxQueueBytes);
}

bool isQueue(const kiv::json::value& kept) {
    return kept.is_array() && std::ranges::all_of(kept.get_array(), identityOf);
}

} // namespace

KIVSEGEventQueue::KIVSEGEventQueue(std::shared_ptr<KIVSEGStorage> storage)
    : storage_(std::move(storage)), creditedAt_(kiv::Clock::current().monotonic()) {}

std::shared_ptr<KIVSEGStorage> KIVSEGEventQueue::storage() {
    const std::lock_guard lock(lock_);
    return storage_;
}

void KIVSEGEventQueue::setStorage(std::shared_ptr<KIVSEGStorage> storage) {
    const std::lock_guard lock(lock_);
    storage_ = std::move(storage);
}

array& KIVSEGEventQueue::events() {
    if (!events_) {
        kiv::json::value kept = storage()->arrayForKey(queueKey);
        if (!kept.is_null() && !isQueue(kept)) {
            KIV_SEG_LOG("What is kept under %@ is no queue of events; beginning a new one.", queueKey);
        }
        events_ = isQueue(kept) ? std::move(kept.get_array()) : array();
        bytes_ = 0;
        for (const auto& event : *events_) {
            bytes_ += sizeOf(event);
        }
        written_ = events_->size();
        dropOldest(0);
    }
    return *events_;
}

void KIVSEGEventQueue::removeFirst(std::size_t count) {
    events_->erase(events_->begin(), events_->begin() + static_cast<std::ptrdiff_t>(count));
    written_ -= std::min(written_, count);
}

/// Drops the oldest `count` events, then more until the queue fits its limits.
void KIVSEGEventQueue::dropOldest(std::size_t count) {
    array& all = *events_;
    while (count < all.size() && (all.size() - count > maxQueueSize || bytes_ > maxQueueBytes)) {
        bytes_ -= sizeOf(all[count++]);
    }
    if (count > 0) {
        KIV_SEG_LOG("Dropping the %@ oldest events: the queue is full.", count);
        removeFirst(count);
    }
}

void KIVSEGEventQueue::append(kiv::json::value event) {
    const auto size = kiv::approximateSize(event, deepestEvent);
    if (!size || *size > maxQueueBytes) {
        throw KIVException::invalidArgument("an event is too large, or nests too deep, to be kept");
    }
    events().push_back(std::move(event));
    bytes_ += *size;
    dropOldest(0);
    changed();
}

array KIVSEGEventQueue::beginUpload(std::size_t count) {
    const array& all = events();
    count = std::min(count, all.size());
    if (count > written_) {
        persistIfAllowed();
    }
    isUploading_ = true;
    hasFailed_ = false;
    return array(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count));
}

void KIVSEGEventQueue::endUpload(const array& batch, bool hasFailed) {
    isUploading_ = false;
    hasFailed_ = hasFailed;
    if (!hasFailed) {
        remove(batch);
    }
    for (const auto& task : std::exchange(atUploadEnd_, {})) {
        task();
    }
}

/// Removes the events of `batch` that are still at the head. Compares by identity, because `dropOldest` may
/// have dropped some meanwhile.
void KIVSEGEventQueue::remove(const array& batch) {
    std::unordered_set<std::string_view> sent;
    for (const auto& event : batch) {
        sent.insert(*identityOf(event));
    }
    const array& all = events();
    std::size_t count = 0;
    while (count < all.size() && sent.contains(*identityOf(all[count]))) {
        bytes_ -= sizeOf(all[count++]);
    }
    removeFirst(count);
    changed(); // even if nothing was removed: the storage may still have events that were sent
}

void KIVSEGEventQueue::changed() {
    const auto present = kiv::Clock::current().monotonic();
    if (!isChanged_) {
        isChanged_ = true;
        changedAt_ = present;
        serialQueue_.postAtRest([queue = shared_from_this()] { queue->persistIfAllowed(); });
    } else if (present - changedAt_ >= longestUnwritten) {
        persistIfAllowed();
    }
}

bool KIVSEGEventQueue::mayWrite() {
    const auto present = kiv::Clock::current().monotonic();
    const std::chrono::duration<double> passed = present - std::exchange(creditedAt_, present);
    credit_ = std::min<double>(writesAtWill, credit_ + passed.count() * writesPerSecond);
    return credit_ >= 0;
}

void KIVSEGEventQueue::persistIfAllowed() {
    if (isWriteDelayed_) {
        return;
    }
    if (mayWrite()) {
        persist();
        return;
    }
    isWriteDelayed_ = true;
    lateWrite_ = kiv::Timer(-credit_ / writesPerSecond, false, [weak = weak_from_this()] {
        if (const auto queue = weak.lock()) {
            queue->serialQueue_.post([queue] { queue->persist(); });
        }
    });
}

void KIVSEGEventQueue::persist() {
    lateWrite_.cancel();
    isWriteDelayed_ = false;
    if (isChanged_) {
        credit_ -= static_cast<double>(bytes_ + bytesOfEachWrite);
        changedAt_ = kiv::Clock::current().monotonic();
        isChanged_ = !storage()->setArray(events(), queueKey);
        written_ = isChanged_ ? written_ : events().size();
    }
}
