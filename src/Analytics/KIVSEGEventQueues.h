#pragma once

#include <map>
#include <memory>
#include <string>

#include <sys/types.h>

#include "Analytics/KIVSEGEventQueue.h"
#include "Analytics/KIVSEGFileStorage.h"
#include "Analytics/KIVSEGQueueFiles.h"

/// The queues of events of this process: one for each folder, which all clients with that folder share. So a
/// client does not send again what an earlier client of its key has under way. Used by tasks of serial queues
/// only.
class KIVSEGEventQueues {
public:
    /// The queues of this process. A child after a fork begins with none, and leaves its parent's queues and
    /// their files alone.
    static KIVSEGEventQueues& shared();

    /// The queue in the folder of `storage`. It lives as long as a client uses it; the next client then reads
    /// its file again. Without a folder, every client has a queue of its own.
    std::shared_ptr<KIVSEGEventQueue> queueIn(const std::shared_ptr<KIVSEGFileStorage>& storage);

private:
    struct Entry {
        std::shared_ptr<KIVSEGQueueFiles> files; ///< kept until the process ends, as the file it owns
        std::weak_ptr<KIVSEGEventQueue> queue;
    };

    KIVSEGEventQueues(pid_t process, const KIVSEGEventQueues* ofParent)
        : process_(process), ofParent_(ofParent) {}

    const pid_t process_;
    const KIVSEGEventQueues* const ofParent_; ///< what a fork left behind; never used
    std::map<std::string, Entry> entries_;    ///< by folder
};
