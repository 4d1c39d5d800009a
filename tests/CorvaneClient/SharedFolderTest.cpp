#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Analytics/KIVSEGFileStorage.h"
#include "CorvaneClient/Application.h"
#include "CorvaneClient/Shop.h"
#include "Platform/System/Files.h"
#include "Support/LoopbackServer.h"
#include "Support/Patience.h"
#include "Support/Signing.h"

namespace {

/// Processes that share a Library folder, and a service that is down until the test says otherwise.
class SharedFolder : public ::testing::Test {
protected:
    SharedFolder() {
        EXPECT_TRUE(
            kiv::writeFile(document, signer.sign(payloadOf({experiment("kiv.internal.analytics", "true")}))));
        server.on("/impression/" + shopKey, LoopbackServer::answer(503, ""));
    }

    std::unique_ptr<Application> start() const {
        auto application = std::make_unique<Application>();
        application->setUp(folder, signer, {{"analyticsEndpoint", server.url("")}}, document);
        return application;
    }

    static void read(Application& application, int count) {
        for (int i = 0; i < count; ++i) {
            application.tell({{"do", "read"}, {"name", "color"}});
        }
    }

    std::vector<std::string> queueFiles() const {
        std::vector<std::string> names;
        std::error_code missing;
        for (const auto& file : std::filesystem::directory_iterator(storage.folderURL(), missing)) {
            const std::string name = file.path().filename().string();
            if (name.starts_with("kiv.segmentio.queue.") && name.ends_with(".plist")) {
                names.push_back(name);
            }
        }
        return names;
    }

    /// In how many files each event is.
    std::map<std::string, int> kept() const {
        std::map<std::string, int> copies;
        for (const auto& name : queueFiles()) {
            const auto events = storage.arrayForKey(name);
            if (events.is_array()) { // the file may have been taken over meanwhile
                for (const auto& event : events.get_array()) {
                    ++copies[std::string(event.at("messageId").as_string())];
                }
            }
        }
        return copies;
    }

    bool waitForKept(std::size_t count) const {
        const auto until = std::chrono::steady_clock::now() + patience;
        while (kept().size() != count && std::chrono::steady_clock::now() < until) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return kept().size() == count;
    }

    const Signer signer = makeSigner();
    const std::string folder = *KIVHost::current()->libraryDirectory + "/shared";
    const std::string document = folder + "/document.json";
    KIVSEGFileStorage storage{folder + "/Application Support/" + shopKey, nullptr};
    LoopbackServer server;
};

TEST_F(SharedFolder, KeepsTheEventsOfEachProcessAndTheNextOneSendsThem) {
    std::vector<std::unique_ptr<Application>> running;
    for (int i = 0; i < 3; ++i) {
        running.push_back(start());
        read(*running.back(), 10);
    }
    EXPECT_TRUE(waitForKept(30)) << kept().size();
    EXPECT_EQ(queueFiles().size(), 3U);
    running[1]->kill();
    running.clear();

    const auto delivered = std::make_shared<std::atomic<std::size_t>>(0);
    server.on("/impression/" + shopKey, [delivered](const auto& request, auto& connection) {
        *delivered += kiv::parseJson(request.body)->at("events").as_array().size();
        LoopbackServer::answer(200, "")(request, connection);
    });
    const auto next = start();
    read(*next, 1);
    EXPECT_TRUE(waitForKept(0));
    EXPECT_EQ(*delivered, 31U);
    EXPECT_EQ(queueFiles(), std::vector<std::string>{"kiv.segmentio.queue.plist"});
}

TEST_F(SharedFolder, LosesNothingWhenAProcessIsKilledWhileItTakesOver) {
    constexpr int files = 4;
    constexpr int eventsOfEach = 50;
    constexpr int rounds = 40;
    using Clock = std::chrono::steady_clock;
    std::mt19937 random(std::random_device{}());
    Clock::duration whole = patience; // from the start of a process until it has taken all over
    int takenOver = 0;
    for (int round = 0; round < rounds; ++round) {
        int number = 0;
        for (int file = 1; file <= files; ++file) {
            kiv::json::array events;
            for (int i = 0; i < eventsOfEach; ++i) {
                events.push_back(kiv::json::object{{"messageId", std::to_string(number++)}});
            }
            const std::string name = file == 1 ? "" : std::to_string(file) + ".";
            ASSERT_TRUE(storage.setArray(events, "kiv.segmentio.queue." + name + "plist"));
        }
        {
            const auto begin = Clock::now();
            const auto application = start();
            read(*application, 1);
            const auto until = begin + whole * (round == 0 ? 1000 : random() % 1500) / 1000;
            while (Clock::now() < until && (round > 0 || queueFiles().size() > 1)) {
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            }
            application->kill();
            whole = round == 0 ? Clock::now() - begin : whole;
        }
        const auto left = kept();
        for (int i = 0; i < number; ++i) {
            const auto found = left.find(std::to_string(i));
            ASSERT_TRUE(found != left.end()) << i;
            EXPECT_LE(found->second, 2) << i;
        }
        takenOver += round > 0 && queueFiles().size() < files ? 1 : 0;
        storage.resetAll();
    }
    EXPECT_GT(takenOver, 0) << "some kills came after a file was taken over";
}

} // namespace
