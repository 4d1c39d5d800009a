#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "Journal.h"
#include "Watchdog.h"
#include "Workload.h"

namespace {

std::string setting(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

Settings readSettings() {
    Settings settings{.mode = setting("SOAK_MODE"),
                      .library = setting("SOAK_LIBRARY"),
                      .service = setting("SOAK_SERVICE"),
                      .certificate = setting("SOAK_CERTIFICATE"),
                      .keys = {},
                      .seed = static_cast<unsigned>(std::stoul(setting("SOAK_SEED"))),
                      .keySeconds = std::stod(setting("SOAK_KEY_SECONDS"))};
    std::istringstream keys(setting("SOAK_KEYS"));
    for (std::string key; std::getline(keys, key, ',');) {
        settings.keys.push_back(key);
    }
    return settings;
}

} // namespace

/// Runs the workload that the environment describes until SIGTERM. To drain is to shut down at once, and to
/// live on while what waits is sent.
int main() {
    sigset_t awaited;
    sigemptyset(&awaited);
    sigaddset(&awaited, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
    Watchdog::start(std::chrono::seconds(30));
    const Settings settings = readSettings();
    const bool isDraining = settings.mode == "drain";
    Workload workload(settings);
    workload.start();
    if (isDraining) {
        workload.stop();
    }
    int signal = 0;
    sigwait(&awaited, &signal);
    if (!isDraining) {
        workload.stop();
    }
    tell("bye");
    return 0;
}
