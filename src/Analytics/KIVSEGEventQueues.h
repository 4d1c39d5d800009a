#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "Analytics/KIVSEGEventQueue.h"
#include "Analytics/KIVSEGFileStorage.h"

/// The queues of events of this process: one for each folder, which all clients with that folder share. So a
/// client does not send again what an earlier client of its key has under way. Callable from any thread.
class KIVSEGEventQueues {
public:
    /// The queues of this process.
    static KIVSEGEventQueues& shared();

    /// The queue in the folder of `storage`. It lives as long as a client uses it; the next client then
    /// reads its file again. Without a folder, every client has a queue of its own.
    std::shared_ptr<KIVSEGEventQueue> queueIn(const std::shared_ptr<KIVSEGFileStorage>& storage);

private:
    std::mutex lock_;
    std::map<std::string, std::weak_ptr<KIVSEGEventQueue>> queues_; ///< by folder; guarded by the lock
};
