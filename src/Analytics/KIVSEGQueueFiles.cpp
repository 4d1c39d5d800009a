#include "Analytics/KIVSEGQueueFiles.h"

#include <cerrno>
#include <charconv>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

#include <fcntl.h>

#include "Analytics/KIVSEGLog.h"

namespace {

constexpr std::string_view stem = "kiv.segmentio.queue.";
constexpr std::string_view extension = "plist";
constexpr std::string_view lockFileName = "kiv.segmentio.queue.lock";
constexpr unsigned mostFiles = 4096;

/// The name of a file by its number, which begins with 1.
std::string nameOf(unsigned number) {
    std::string name(stem);
    if (number > 1) {
        name.append(std::to_string(number)).append(".");
    }
    return name.append(extension);
}

/// The number of the file of that name; nullopt when it is no file of a queue.
std::optional<unsigned> numberOf(const std::string& name) {
    unsigned number = 1;
    if (name.starts_with(stem)) {
        std::from_chars(name.data() + stem.size(), name.data() + name.size(), number);
    }
    return number > 0 && nameOf(number) == name ? std::optional(number) : std::nullopt;
}

std::vector<unsigned> numbersIn(const std::string& folder) {
    std::vector<unsigned> numbers;
    std::error_code failure;
    for (std::filesystem::directory_iterator file(folder, failure), end; !failure && file != end;
         file.increment(failure)) {
        if (const auto number = numberOf(file->path().filename().string())) {
            numbers.push_back(*number);
        }
    }
    return numbers;
}

/// Locks or unlocks the byte of that number. Returns what `fcntl` does.
int setLock(int file, short type, unsigned number) {
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = static_cast<off_t>(number);
    range.l_len = 1;
    int result = -1;
    do {
        result = fcntl(file, F_SETLK, &range);
    } while (result < 0 && errno == EINTR);
    return result;
}

} // namespace

KIVSEGQueueFiles::Lock KIVSEGQueueFiles::lock(unsigned number) const {
    if (setLock(lockFile_, F_WRLCK, number) == 0) {
        return Lock::taken;
    }
    return errno == EACCES || errno == EAGAIN ? Lock::inUse : Lock::impossible;
}

void KIVSEGQueueFiles::unlock(unsigned number) const { setLock(lockFile_, F_UNLCK, number); }

const std::string& KIVSEGQueueFiles::own() {
    if (own_.empty()) {
        takeOwn();
    }
    return own_;
}

void KIVSEGQueueFiles::takeOwn() {
    own_ = nameOf(1);
    if (folder_.empty()) {
        return;
    }
    const std::string path = folder_ + "/" + std::string(lockFileName);
    lockFile_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    for (unsigned number = 1; number <= mostFiles && lockFile_ >= 0; ++number) {
        const Lock found = lock(number);
        if (found == Lock::taken) {
            own_ = nameOf(number);
            isLocked_ = true;
            return;
        }
        if (found == Lock::impossible) {
            break;
        }
    }
    KIV_SEG_LOG("Unable to lock a file for the queue in %@. Processes may overwrite each other's queue.",
                folder_);
}

void KIVSEGQueueFiles::forEachFree(const std::function<void(const std::string& name)>& take) {
    if (own(); !isLocked_) {
        return;
    }
    for (const unsigned number : numbersIn(folder_)) {
        const std::string name = nameOf(number);
        // This process could lock its own file once more, and would then unlock it.
        if (name != own_ && lock(number) == Lock::taken) {
            take(name);
            unlock(number);
        }
    }
}
