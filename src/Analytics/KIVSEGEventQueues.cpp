#include "Analytics/KIVSEGEventQueues.h"

#include <filesystem>
#include <system_error>

#include <unistd.h>

namespace {

/// The folder by the name that all its names have in common.
std::string plainPath(const std::string& folder) {
    std::error_code failure;
    const auto path = std::filesystem::weakly_canonical(folder, failure);
    return failure ? folder : path.string();
}

} // namespace

KIVSEGEventQueues& KIVSEGEventQueues::shared() {
    static KIVSEGEventQueues* queues = nullptr;
    if (const pid_t process = getpid(); !queues || queues->process_ != process) {
        queues = new KIVSEGEventQueues(process, queues);
    }
    return *queues;
}

std::shared_ptr<KIVSEGEventQueue>
KIVSEGEventQueues::queueIn(const std::shared_ptr<KIVSEGFileStorage>& storage) {
    const std::string& folder = storage->folderURL();
    if (folder.empty()) {
        return std::make_shared<KIVSEGEventQueue>(storage, std::make_shared<KIVSEGQueueFiles>(folder));
    }
    Entry& entry = entries_[plainPath(folder)];
    auto queue = entry.queue.lock();
    if (queue) {
        queue->setStorage(storage);
        return queue;
    }
    if (!entry.files) {
        entry.files = std::make_shared<KIVSEGQueueFiles>(folder);
    }
    queue = std::make_shared<KIVSEGEventQueue>(storage, entry.files);
    entry.queue = queue;
    return queue;
}
