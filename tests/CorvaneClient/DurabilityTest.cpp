#include <atomic>
#include <chrono>
#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "Analytics/KIVSEGFileStorage.h"
#include "CorvaneClient/Application.h"
#include "CorvaneClient/Shop.h"
#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/System/Files.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Support/LoopbackServer.h"
#include "Support/Signing.h"

namespace {

namespace json = kiv::json;

/// Reads the property list in a file, which must be whole, and counts the file in `seen`; nullopt when there
/// is none.
std::optional<json::object> wholeList(const std::string& path, int& seen) {
    if (!std::filesystem::exists(path)) {
        return std::nullopt;
    }
    ++seen;
    auto list = kiv::readPropertyList(path);
    EXPECT_TRUE(list) << path;
    return list;
}

TEST(Durability, FilesAreOldOrNewWheneverAProcessIsKilled) {
    constexpr int rounds = 200;
    const Signer signer = makeSigner();
    const auto document = [&](std::size_t size) {
        return signer.sign(payloadOf({}, {{"padding", std::string(size, 'x')}}));
    };
    const std::string documents[] = {document(100), document(400'000)};
    const std::string overrides[] = {std::string(10, 'a'), std::string(200'000, 'b')};
    std::set<std::string> known;
    for (const std::string& each : documents) {
        known.insert(std::string(*kiv::textMember(*kiv::parseJson(each), "data")));
    }
    std::atomic<unsigned> asked = 0;
    LoopbackServer server;
    server.on("/cdn/" + shopKey + "/" + KIVDeviceProperties::buidFor(shopKey, signer.certificateBase64),
              [&](const auto& request, auto& connection) {
                  LoopbackServer::answer(200, documents[asked++ % 2])(request, connection);
              });

    const auto run = [&](const std::string& folder, const std::optional<std::chrono::microseconds>& life) {
        const auto start = std::chrono::steady_clock::now();
        std::thread killer;
        {
            Application application;
            killer = std::thread([&] {
                if (life) {
                    std::this_thread::sleep_for(*life);
                    application.kill();
                }
            });
            application.setUp(folder, signer, {{"getConfigCloudEndpoint", server.url("/cdn")}});
            for (int step = 0; step < 6; ++step) {
                application.tell({{"do", "override"}, {"name", "color"}, {"value", overrides[step % 2]}});
                application.tell({{"do", "fetch"}});
            }
            application.tell({{"do", "wait"}, {"event", "configurationFetched"}, {"timeout", 10}});
            killer.join();
        }
        return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                                     start);
    };

    const std::string root = *KIVHost::current()->libraryDirectory + "/killed/";
    const auto whole = run(root + "whole", std::nullopt);
    std::mt19937 random(std::random_device{}());
    int identities = 0;
    int records = 0;
    int overrideFiles = 0;
    for (int i = 0; i < rounds; ++i) {
        // Every third run starts in a new folder, so that identities are made too.
        const std::string folder = root + std::to_string(i / 3);
        // More of the kills come early, because the first files are made in the first few milliseconds.
        const auto part = random() % 1000;
        run(folder, whole * (part * part) / 1'000'000);
        const auto identity = wholeList(folder + "/corvane-" + shopKey + "-properties.plist", identities);
        const auto record =
            wholeList(folder + "/Application Support/Persistency/KIVClientConfigurationLoadingData", records);
        const auto kept =
            wholeList(folder + "/Application Support/io.corvane/flags/overrides", overrideFiles);
        if (identity) {
            EXPECT_TRUE(kiv::textMember(*identity, "distinct_id"));
        }
        if (const auto* stored = record ? kiv::member(*record, "productionConfiguration") : nullptr) {
            EXPECT_TRUE(known.contains(std::string(*kiv::textMember(*stored, "data"))));
        }
        if (const auto* value = kept ? kiv::textMember(*kept, "color") : nullptr) {
            EXPECT_TRUE(*value == overrides[0] || *value == overrides[1]);
        }
        if (i % 3 == 2) {
            std::filesystem::remove_all(folder);
        }
    }
    // Otherwise the kills did not come at all stages.
    EXPECT_GT(identities, 0);
    EXPECT_GT(records, 0);
    EXPECT_GT(overrideFiles, 0);
    EXPECT_LT(overrideFiles, rounds);
}

TEST(Durability, OfQueuedEventsLosesTheNewestAtMost) {
    const Signer signer = makeSigner();
    const std::string root = *KIVHost::current()->libraryDirectory + "/queues/";
    const std::string document = root + "document.json";
    ASSERT_TRUE(
        kiv::writeFile(document, signer.sign(payloadOf({experiment("kiv.internal.analytics", "true")}))));
    LoopbackServer server;
    server.on("/impression/" + shopKey, LoopbackServer::reset());
    std::mt19937 random(std::random_device{}());
    constexpr int rounds = 40;
    std::size_t most = 0;
    std::size_t before = 0;
    for (int i = 0; i < rounds; ++i) {
        // Four runs share a folder: each goes on with the queue that the run before it left.
        const std::string folder = root + std::to_string(i / 4);
        {
            Application application;
            application.setUp(folder, signer, {{"analyticsEndpoint", server.url("")}}, document);
            for (int read = 0; read < 200; ++read) {
                application.tell({{"do", "read"}, {"name", "color"}});
            }
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 120'000));
            application.kill();
        }
        const KIVSEGFileStorage storage(folder + "/Application Support/" + shopKey, nullptr);
        const auto queue = storage.arrayForKey("kiv.segmentio.queue.plist");
        const bool isThere = kiv::fileExists(storage.urlForKey("kiv.segmentio.queue.plist"));
        ASSERT_EQ(queue.is_array(), isThere);
        const std::size_t events = isThere ? queue.get_array().size() : 0;
        EXPECT_GE(events, i % 4 == 0 ? 0 : before);
        most = std::max(most, events);
        before = events;
    }
    EXPECT_GT(most, 0U) << "some kills came after a write";
}

TEST(Durability, OfEventsThatTheServiceAcceptsAtShutdownIsOver) {
    const Signer signer = makeSigner();
    const std::string folder = *KIVHost::current()->libraryDirectory + "/shut-down";
    const std::string document = folder + "/document.json";
    ASSERT_TRUE(
        kiv::writeFile(document, signer.sign(payloadOf({experiment("kiv.internal.analytics", "true")}))));
    std::atomic<std::size_t> delivered = 0;
    LoopbackServer server;
    server.on("/impression/" + shopKey, [&](const auto& request, auto& connection) {
        delivered += kiv::parseJson(request.body)->at("events").as_array().size();
        connection.wait(std::chrono::milliseconds(20));
        LoopbackServer::answer(200, "")(request, connection);
    });
    constexpr std::size_t runs = 15;
    constexpr std::size_t reads = 5;
    for (std::size_t run = 0; run < runs; ++run) {
        Application application;
        application.setUp(folder, signer, {{"analyticsEndpoint", server.url("")}}, document);
        for (std::size_t read = 0; read < reads; ++read) {
            application.tell({{"do", "read"}, {"name", "color"}});
        }
        application.tell({{"do", "shutdown"}});
    }
    // On a quiet machine each event is delivered once. On a busy one a few shutdowns end without the answer,
    // or even before the disk has taken the events.
    EXPECT_GT(delivered, 0U);
    EXPECT_LT(delivered, runs * reads * 3);
}

} // namespace
