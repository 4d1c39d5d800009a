#pragma once

#include <csignal>
#include <stdexcept>
#include <string>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Support/Threads.h"

/// A program that runs in the background of a test. It is killed when this object is destroyed.
class Background {
public:
    /// Starts a single shell command, in place of the shell itself, so that `end` signals the program.
    explicit Background(const std::string& command) {
        const std::string line = "exec " + command;
        process_ = fork();
        if (process_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
            _exit(127);
        }
    }

    ~Background() {
        if (process_ > 0) {
            end(SIGKILL);
        }
    }

    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;

    /// Sends the signal and waits for the end. Returns the exit code, −1 when a signal killed the program.
    int end(int signal) {
        int status = 0;
        kill(process_, signal);
        waitpid(process_, &status, 0);
        process_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t process_ = 0;
};

/// Waits until `found()` is true. Throws when that takes longer than `patience`.
template <class Found>
void waitUntil(Found found, const std::string& what) {
    if (!eventually(found)) {
        throw std::runtime_error("waited in vain for: " + what);
    }
}
