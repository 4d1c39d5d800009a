#pragma once

#include <csignal>
#include <string>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "CorvaneClient/Shop.h"
#include "Platform/Text/Json.h"
#include "Support/Signing.h"

/// An application with one flag in a process of its own: `kiv shell`, which a test drives by JSON lines.
class Application {
public:
    Application() {
        std::signal(SIGPIPE, SIG_IGN);
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        input_ = ends[1];
        process_ = fork();
        if (process_ == 0) {
            const int nowhere = open("/dev/null", O_WRONLY);
            dup2(ends[0], STDIN_FILENO);
            dup2(nowhere, STDOUT_FILENO);
            dup2(nowhere, STDERR_FILENO);
            execl(KIV_TEST_BIN_DIR "/kiv", "kiv", "shell", nullptr);
            _exit(127);
        }
        close(ends[0]);
    }
    ~Application() {
        close(input_);
        waitpid(process_, nullptr, 0);
    }
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    void setUp(const std::string& folder, const Signer& signer, const kiv::json::object& endpoints,
               const std::string& defaultConfigurationPath = "") {
        tell({{"do", "host"}, {"libraryDirectory", folder}});
        tell({{"do", "register"},
              {"flags", kiv::json::array{{{"name", "color"}, {"type", "string"}, {"default", "x"}}}}});
        tell({{"do", "setup"},
              {"key", shopKey},
              {"options",
               {{"customSigningCertificate", signer.certificateBase64},
                {"defaultConfigurationPath", defaultConfigurationPath},
                {"networkConfigurations", endpoints}}}});
    }

    /// Sends a line. Lines after the process was killed are dropped.
    void tell(const kiv::json::object& line) {
        const std::string text = kiv::compactJson(line) + "\n";
        std::size_t written = 0;
        while (written < text.size()) {
            const ssize_t size = write(input_, text.data() + written, text.size() - written);
            if (size < 0) {
                return;
            }
            written += static_cast<std::size_t>(size);
        }
    }

    void kill() const { ::kill(process_, SIGKILL); }

private:
    int input_ = -1;
    pid_t process_ = -1;
};
