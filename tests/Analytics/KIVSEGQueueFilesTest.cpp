#include <filesystem>
#include <fstream>

#include <sys/wait.h>
#include <unistd.h>

#include "Analytics/AnalyticsFixture.h"
#include "Analytics/KIVSEGEventQueues.h"
#include "Support/ManualClock.h"

namespace {

using QueueFiles = AnalyticsFixture;

/// Puts `count` events, whose property "number" counts up from `first`, into a file of the folder.
void put(const std::string& file, int first, int count) {
    kiv::json::array events;
    for (int i = first; i < first + count; ++i) {
        const std::string time = "2026-01-01T00:00:0" + std::to_string(10'000 + i);
        events.push_back(kiv::json::object{
            {"messageId", "old-" + std::to_string(i)}, {"timestamp", time}, {"properties", {{"number", i}}}});
    }
    auto storage =
        KIVSEGFileStorage(KIVSEGFileStorage::applicationSupportDirectoryURL() + "/" + analyticsKey, nullptr);
    ASSERT_TRUE(storage.setArray(events, file));
}

TEST_F(QueueFiles, OfProcessesThatEndedAreTakenOverInTheOrderOfTimeAsThereIsRoom) {
    ManualClock& clock = ManualClock::install();
    put("kiv.segmentio.queue.plist", 600, 600);
    put("kiv.segmentio.queue.2.plist", 0, 600);
    put("kiv.segmentio.queue.17.plist", 1200, 300);
    const std::string alone[] = {storage().urlForKey("kiv.segmentio.queue.02.plist"),
                                 storage().urlForKey("kiv.segmentio.queue.3.plist.plist")};
    for (const auto& path : alone) {
        std::filesystem::copy(storage().urlForKey("kiv.segmentio.queue.2.plist"), path);
    }
    const std::string damaged = storage().urlForKey("kiv.segmentio.queue.4.plist");
    std::ofstream(damaged) << "no list";
    const auto analytics = client();
    analytics->flush();
    EXPECT_EQ(sentNumbers(0), "600-699") << "the second file does not fit, the seventeenth does";
    nextOutcome();
    EXPECT_EQ(keptNumbers(), "700-1499");
    EXPECT_FALSE(std::filesystem::exists(storage().urlForKey("kiv.segmentio.queue.17.plist")));
    for (int i = 1; i < 5; ++i) {
        analytics->flush();
        nextOutcome();
    }
    EXPECT_EQ(keptNumbers(), "1100-1499");
    clock.advance(31); // takes over, then sends
    EXPECT_EQ(sentNumbers(5), "0-99");
    EXPECT_FALSE(std::filesystem::exists(storage().urlForKey("kiv.segmentio.queue.2.plist")));
    EXPECT_TRUE(std::filesystem::exists(alone[0]) && std::filesystem::exists(alone[1]));
    EXPECT_TRUE(std::filesystem::exists(damaged)) << "it may be encrypted with other secrets";
}

TEST_F(QueueFiles, AreTakenOverOnceWhenAProcessWasKilledOnTheWay) {
    put("kiv.segmentio.queue.plist", 0, 30);
    put("kiv.segmentio.queue.2.plist", 10, 15);
    const auto analytics = client();
    analytics->flush();
    EXPECT_EQ(sentNumbers(0), "0-29");
    nextOutcome();
    EXPECT_FALSE(std::filesystem::exists(storage().urlForKey("kiv.segmentio.queue.2.plist")));
}

TEST_F(QueueFiles, AreOneWithoutLocks) {
    std::filesystem::create_directories(storage().urlForKey("kiv.segmentio.queue.lock")); // cannot be opened
    put("kiv.segmentio.queue.plist", 0, 5);
    put("kiv.segmentio.queue.2.plist", 5, 5);
    const auto analytics = client();
    analytics->flush();
    EXPECT_EQ(sentNumbers(0), "0-4");
    EXPECT_TRUE(log.has({"Unable to lock a file for the queue"}));
    EXPECT_TRUE(std::filesystem::exists(storage().urlForKey("kiv.segmentio.queue.2.plist")))
        << "a process may be using it";
}

TEST_F(QueueFiles, OfAParentAreNotItsChilds) {
    const std::string folder = storage().folderURL();
    KIVSEGQueueFiles parents(folder);
    EXPECT_EQ(parents.own(), "kiv.segmentio.queue.plist");
    KIVSEGEventQueues* const own = &KIVSEGEventQueues::shared();
    EXPECT_EQ(&KIVSEGEventQueues::shared(), own);
    const pid_t child = fork();
    if (child == 0) {
        KIVSEGQueueFiles childs(folder);
        const bool isSecond = childs.own() == "kiv.segmentio.queue.2.plist";
        _exit(isSecond && &KIVSEGEventQueues::shared() != own ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

} // namespace
