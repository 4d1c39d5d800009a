#pragma once

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace kiv {

/// Owns a file descriptor; the destructor closes it.
class Descriptor {
public:
    /// `descriptor` is what the system returned: negative when it could not open anything.
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    /// Whether a file is open.
    explicit operator bool() const { return descriptor_ >= 0; }
    int get() const { return descriptor_; }

    /// Closes the file now, if it is open. False when the system reports an error of an earlier write.
    bool close() {
        // Even an interrupted close releases the descriptor, so it must not be closed again.
        const int descriptor = std::exchange(descriptor_, -1);
        return descriptor < 0 || ::close(descriptor) == 0 || errno == EINTR;
    }

private:
    int descriptor_;
};

} // namespace kiv
