// One start of an application, in a process of its own: what `bench/cold-start.py` runs.
//
//   kiv_cold_start prepare FOLDER   stores a signed document of 1,000 experiments, as an earlier start would
//   kiv_cold_start start FOLDER     sets up and reads a flag; prints microseconds and kilobytes as JSON
//   kiv_cold_start empty FOLDER     the same without any document
//   kiv_cold_start bare FOLDER      does nothing with the library
//   kiv_cold_start stop FOLDER      shuts down with impressions that a stalled service does not take

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include <kiv/kiv.h>

#include "Analytics/KIVSEGFileStorage.h"
#include "CorvaneClient/KIVClientConfigurationLoadingDataManager.h"
#include "Platform/System/Files.h"
#include "Support/LoopbackServer.h"
#include "Support/Signing.h"

namespace {

const std::string key = "5e0bd1f2c3a4b5d6e7f80912";

struct StartFlags : KIVBaseContainer {
    KIVFlag flag7{false};
    KIV_CONTAINER(StartFlags, flag7);
};

void configureHost(const std::string& folder) {
    KIVHost host;
    host.libraryDirectory = folder;
    KIVHost::configure(host);
}

void prepare(const std::string& folder) {
    std::string text = R"({"application":")" + key + R"(","experiments":[)";
    for (int i = 0; i < 1000; ++i) {
        const std::string number = std::to_string(i);
        text += (i == 0 ? "" : ",") + (R"j({"_id":"id-)j" + number) +
                R"j(","deploymentConfiguration":{"condition":"eq(\"FR\", \"FR\")"},)j"
                R"j("featureFlags":[{"name":"start.flag)j" +
                number + R"j("}]})j";
    }
    const Signer signer = makeSigner();
    configureHost(folder);
    KIVClientConfigurationLoadingDataManager(KIVDataPersistency(), nullptr, std::nullopt, key)
        .setProductionConfiguration(
            std::make_shared<const kiv::json::value>(*kiv::parseJson(signer.sign(text + "]}"))));
    kiv::writeFile(folder + "/certificate.txt", signer.certificateBase64);
}

/// Lines such as "VmRSS:  1234 kB" and "Threads: 3" of this process's status.
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
    configureHost(readsStored ? folder : folder + "/empty");
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

/// Prints how long the shutdown took and how many events were on disk when it returned.
int stop(const std::string& folder) {
    LoopbackServer server;
    server.on("/impression/" + key, LoopbackServer::stall());
    configureHost(folder + "/stop");
    const Signer signer = makeSigner();
    const std::string document = folder + "/stop.json";
    kiv::writeFile(document, signer.sign(R"({"application":")" + key + R"(","experiments":[{"_id":"a",)" +
                                         R"("deploymentConfiguration":{"condition":"\"true\""},)" +
                                         R"("featureFlags":[{"name":"kiv.internal.analytics"}]}]})"));
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
