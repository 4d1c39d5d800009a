#include "Analytics/KIVSEGEventQueues.h"

KIVSEGEventQueues& KIVSEGEventQueues::shared() {
    static KIVSEGEventQueues& queues = *new KIVSEGEventQueues;
    return queues;
}

std::shared_ptr<KIVSEGEventQueue>
KIVSEGEventQueues::queueIn(const std::shared_ptr<KIVSEGFileStorage>& storage) {
    if (storage->folderURL().empty()) {
        return std::make_shared<KIVSEGEventQueue>(storage);
    }
    const std::lock_guard lock(lock_);
    auto& known = queues_[storage->folderURL()];
    auto queue = known.lock();
    if (queue) {
        queue->setStorage(storage);
    } else {
        queue = std::make_shared<KIVSEGEventQueue>(storage);
        known = queue;
    }
    return queue;
}
