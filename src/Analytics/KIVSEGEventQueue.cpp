#include "Analytics/KIVSEGEventQueue.h"

#include <algorithm>
#include <numeric>
#include <unordered_set>
#include <utility>

#include <kiv/KIVException.h>

#include "Analytics/KIVSEGFileStorage.h"
#include "Analytics/KIVSEGLog.h"
#include "Platform/System/Clock.h"

namespace {

using kiv::json::array;

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

std::size_t sizeOfAll(const array& events) {
    return std::accumulate(events.begin(), events.end(), std::size_t{0},
                           [](std::size_t sum, const auto& event) { return sum + sizeOf(event); });
}

/// When the event was made, as text whose order is that of time; empty when the event does not say.
std::string_view timeOf(const kiv::json::value& event) {
    const auto* time = kiv::textMember(event, KIVSEGEventQueue::timeKey);
    return time ? std::string_view(*time) : std::string_view();
}

bool isQueue(const kiv::json::value& kept) {
    return kept.is_array() && std::ranges::all_of(kept.get_array(), identityOf);
}

} // namespace

KIVSEGEventQueue::KIVSEGEventQueue(std::shared_ptr<KIVSEGStorage> storage,
                                   std::shared_ptr<KIVSEGQueueFiles> files)
    : storage_(std::move(storage)), files_(std::move(files)), creditedAt_(kiv::Clock::current().monotonic()) {
}

array& KIVSEGEventQueue::events() {
    if (!events_) {
        const std::string& file = files_->own();
        kiv::json::value kept = storage_->arrayForKey(file);
        if (!kept.is_null() && !isQueue(kept)) {
            KIV_SEG_LOG("What is kept under %@ is no queue of events; beginning a new one.", file);
        }
        events_ = isQueue(kept) ? std::move(kept.get_array()) : array();
        bytes_ = sizeOfAll(*events_);
        written_ = events_->size();
        dropOldest(0);
        adopt();
    }
    return *events_;
}

void KIVSEGEventQueue::adopt() {
    events();
    if (!isUploading_) {
        files_->forEachFree([this](const std::string& file) { adopt(file); });
    }
}

/// Moves the events of the file to this queue. Writes them to this queue's file before it removes the other
/// one, so that a process that is killed meanwhile loses none. The events may then be in both files; they are
/// known by their identities when they are adopted once more.
void KIVSEGEventQueue::adopt(const std::string& file) {
    kiv::json::value left = storage_->arrayForKey(file);
    if (!isQueue(left)) {
        return; // it may be encrypted with another process's secrets
    }
    std::unordered_set<std::string_view> known;
    for (const auto& event : *events_) {
        known.insert(*identityOf(event));
    }
    array whole = *events_;
    for (auto& event : left.get_array()) {
        if (!known.contains(*identityOf(event))) {
            whole.push_back(std::move(event));
        }
    }
    const std::size_t bytes = sizeOfAll(whole);
    const bool hasRoom = events_->empty() || (whole.size() <= maxQueueSize && bytes <= maxQueueBytes);
    if (!hasRoom) {
        return;
    }
    std::ranges::stable_sort(whole, {}, timeOf);
    if (whole.size() > events_->size()) {
        credit_ -= static_cast<double>(bytes + bytesOfEachWrite);
        if (!storage_->setArray(whole, files_->own())) {
            return;
        }
        KIV_SEG_LOG("Took over %@ events from %@.", whole.size() - events_->size(), file);
        events_ = std::move(whole);
        bytes_ = bytes;
        written_ = events_->size();
        isChanged_ = false;
        dropOldest(0);
    } else if (persist(); isChanged_) {
        return;
    }
    storage_->removeKey(file);
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
        isChanged_ = !storage_->setArray(events(), files_->own());
        written_ = isChanged_ ? written_ : events().size();
    }
}
