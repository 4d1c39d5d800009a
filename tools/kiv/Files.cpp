#include "Files.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Command.h"
#include "Platform/Text/Json.h"

namespace kiv::tool {
namespace {

/// Closes its file descriptor when it is destroyed, unless that is the one of standard input.
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ > STDERR_FILENO) {
            ::close(number_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }

private:
    int number_;
};

[[noreturn]] void fail(const std::string& path, const std::string& what) {
    throw BadInput(path + ": " + what + ": " + std::strerror(errno));
}

} // namespace

std::string readInput(const std::string& path) {
    const Descriptor file(path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.number() < 0) {
        fail(path, "cannot be read");
    }
    std::string content;
    std::array<char, 1U << 16> buffer{};
    for (;;) {
        const ssize_t size = ::read(file.number(), buffer.data(), buffer.size());
        if (size < 0) {
            fail(path, "cannot be read");
        }
        if (size == 0) {
            return content;
        }
        content.append(buffer.data(), static_cast<std::size_t>(size));
        if (content.size() > JsonLimits().maxBytes) {
            throw BadInput(path + ": larger than 64 MiB: an application would treat it as missing");
        }
    }
}

void writeOutput(const std::string& path, std::string_view bytes, mode_t mode, bool replace) {
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (replace ? O_TRUNC : O_EXCL);
    const Descriptor file(::open(path.c_str(), flags, mode));
    if (file.number() < 0 && errno == EEXIST) {
        throw BadInput(path + ": is there already", std::nullopt, "Add --force to replace it.");
    }
    // `open` gives the mode to new files only.
    const bool isPrivate = (mode & (S_IRWXG | S_IRWXO)) == 0;
    if (file.number() < 0 || (isPrivate && ::fchmod(file.number(), mode) != 0)) {
        fail(path, "cannot be written");
    }
    while (!bytes.empty()) {
        const ssize_t size = ::write(file.number(), bytes.data(), bytes.size());
        if (size < 0) {
            fail(path, "cannot be written");
        }
        bytes.remove_prefix(static_cast<std::size_t>(size));
    }
}

std::string_view withoutLastLineBreak(std::string_view text) {
    if (text.ends_with('\n')) {
        text.remove_suffix(1);
    }
    if (text.ends_with('\r')) {
        text.remove_suffix(1);
    }
    return text;
}

} // namespace kiv::tool
