#include "Platform/System/SystemOpener.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kiv {
namespace {

/// The shell ends at once, and the program that it has started becomes a child of the system's first process.
constexpr const char* script = "command -v xdg-open >/dev/null || exit 1; xdg-open \"$1\" &";

/// Starts the shell in a session of its own and without the files of this process: its input is empty and its
/// output is discarded. The shell blocks no signal.
bool spawn(pid_t& child, char* const* arguments) {
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&files);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    sigset_t none;
    sigset_t every;
    sigemptyset(&none);
    sigfillset(&every);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &every);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    const bool isStarted = posix_spawn(&child, "/bin/sh", &files, &attributes, arguments, environ) == 0;
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    return isStarted;
}

} // namespace

bool openWithSystem(const std::string& address) {
    const char* arguments[] = {"sh", "-c", script, "sh", address.c_str(), nullptr};
    pid_t shell = 0;
    if (!spawn(shell, const_cast<char* const*>(arguments))) {
        return false;
    }
    int status = 0;
    pid_t ended = 0;
    do {
        ended = waitpid(shell, &status, 0);
    } while (ended < 0 && errno == EINTR);
    // When the application ignores SIGCHLD, `waitpid` fails, because the system does not keep the status;
    // that counts as success.
    return ended < 0 || status == 0;
}

} // namespace kiv
