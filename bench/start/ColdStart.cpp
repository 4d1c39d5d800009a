// Plays one start of an application. `bench/cold-start.py` runs it in many processes, one after the other.
//
//   kiv_cold_start prepare FOLDER   stores a signed document of 1,000 experiments, as an earlier start would
//   kiv_cold_start start FOLDER     sets up and reads a flag; prints the times and the memory
//   kiv_cold_start empty FOLDER     does the same without a stored document
//   kiv_cold_start bare FOLDER      prints the memory of a process that does not use the library
//   kiv_cold_start stop FOLDER      shuts down with a stalled service; prints the time and the events on disk
//
// The results are JSON. Times are in microseconds, memory ("resident") is in KiB.

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include <kiv/kiv.h>

#include "Analytics/KIVSEGFileStorage.h"
#include "CorvaneClient/KIVClientConfigurationLoadingDataManager.h"
#include "Platform/System/Files.h"
#include "Support/Host.h"
#include "Support/LoopbackServer.h"
#include "Support/Payload.h"
#include "Support/Signing.h"

namespace {

const std::string key = "5e0bd1f2c3a4b5d6e7f80912";

struct StartFlags : KIVBaseContainer {
    KIVFlag flag7{false};
    KIV_CONTAINER(StartFlags, flag7);
};

void useFolder(const std::string& folder) {
    configureHost([&](KIVHost& host) { host.libraryDirectory = folder; });
}

void prepare(const std::string& folder) {
    kiv::json::array experiments;
    for (int i = 0; i < 1000; ++i) {
        experiments.push_back(makeExperiment("start.flag" + std::to_string(i), R"(eq("FR", "FR"))"));
    }
    const Signer signer = makeSigner();
    useFolder(folder);
    KIVClientConfigurationLoadingDataManager(KIVDataPersistency(), nullptr, std::nullopt, key)
        .setProductionConfiguration(std::make_shared<const kiv::json::value>(
            *kiv::parseJson(signer.sign(makePayload(key, experiments)))));
    kiv::writeFile(folder + "/certificate.txt", signer.certificateBase64);
}

/// The number in a line of /proc/self/status such as "VmRSS:  1234 kB" or "Threads: 3"; 0 without such a
/// line.
long statusOf(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":")) {
            return std::stol(line.substr(name.size() + 1));
        }
    }
    return 0;
}

int start(const std::string& folder, bool readsStored) {
    std::string certificate;
    std::getline(std::ifstream(folder + "/certificate.txt"), certificate);
    useFolder(readsStored ? folder : folder + "/empty");
    const auto flags = std::make_shared<StartFlags>();
    const auto begin = std::chrono::steady_clock::now();
    KIVCore::register_("start", flags);
    KIVCore::setupWithKey(key, {.customSigningCertificate = certificate,
                                .networkConfigurations = KIVNetworkConfigurationsOptions()});
    const std::chrono::duration<double, std::micro> setup = std::chrono::steady_clock::now() - begin;
    const bool value = flags->flag7.isEnabled();
    const std::chrono::duration<double, std::micro> first = std::chrono::steady_clock::now() - begin;
    std::printf(R"({"setup":%.1f,"first_read":%.1f,"resident":%ld,"threads":%ld})"
                "\n",
                setup.count(), first.count(), statusOf("VmRSS"), statusOf("Threads"));
    return value == readsStored ? 0 : 1;
}

/// Prints how long the shutdown took, and how many events were on disk when it returned.
int stop(const std::string& folder) {
    LoopbackServer server;
    server.on("/impression/" + key, LoopbackServer::stall());
    useFolder(folder + "/stop");
    const Signer signer = makeSigner();
    const std::string document = folder + "/stop.json";
    kiv::writeFile(document,
                   signer.sign(makePayload(key, {makeExperiment("kiv.internal.analytics", R"("true")")})));
    const auto flags = std::make_shared<StartFlags>();
    KIVCore::register_("start", flags);
    KIVCore::setupWithKey(
        key, {.customSigningCertificate = signer.certificateBase64,
              .defaultConfigurationPath = document,
              .networkConfigurations = KIVNetworkConfigurationsOptions{.analyticsEndpoint = server.url("")}});
    for (int i = 0; i < 1000; ++i) {
        flags->flag7.isEnabled();
    }
    const auto begin = std::chrono::steady_clock::now();
    KIVCore::shutdown();
    const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - begin;
    const auto queue =
        KIVSEGFileStorage(KIVSEGFileStorage::applicationSupportDirectoryURL() + "/" + key, nullptr)
            .arrayForKey("kiv.segmentio.queue.plist");
    std::printf(R"({"shutdown":%.1f,"kept":%zu})"
                "\n",
                took.count(), queue.is_array() ? queue.get_array().size() : 0);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string what = argc == 3 ? argv[1] : "";
    if (what == "prepare") {
        prepare(argv[2]);
        return 0;
    }
    if (what == "bare") {
        std::printf("{\"resident\":%ld}\n", statusOf("VmRSS"));
        return 0;
    }
    if (what == "stop") {
        return stop(argv[2]);
    }
    return what == "start" || what == "empty" ? start(argv[2], what == "start") : 2;
}
