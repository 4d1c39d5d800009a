#pragma once

#include <functional>
#include <string>
#include <utility>

/// The files in which the processes that share a folder keep their queues of events: one file for each
/// process. A process owns its file until it ends. The file of a process that has ended is free: another
/// process may own it next, or take what is in it.
///
/// Who owns what is told by locks on a file of their own. They are locks of the process (POSIX): the system
/// releases them when the process ends, however it ends; a child after a fork does not have them; and they
/// are lost when the process closes the lock file, so it stays open. On a file system without locks every
/// process owns the first file, and the last one to write wins.
///
/// Used by tasks of serial queues only. There must be one object for each folder in a process.
class KIVSEGQueueFiles {
public:
    /// `folder` is a path; empty for none.
    explicit KIVSEGQueueFiles(std::string folder) : folder_(std::move(folder)) {}
    KIVSEGQueueFiles(const KIVSEGQueueFiles&) = delete;
    KIVSEGQueueFiles& operator=(const KIVSEGQueueFiles&) = delete;

    /// The name of this process's file. The first call takes the first free file.
    const std::string& own();

    /// Calls `take` with the name of each other file that is free. No process can own the file meanwhile.
    void forEachFree(const std::function<void(const std::string& name)>& take);

private:
    enum class Lock { taken, inUse, impossible };
    Lock lock(unsigned number) const;
    void unlock(unsigned number) const;
    void takeOwn();

    const std::string folder_;
    std::string own_; ///< empty until the process has taken its file
    bool isLocked_ = false;
    int lockFile_ = -1; ///< never closed
};
