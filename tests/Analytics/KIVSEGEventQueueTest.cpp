#include <fstream>
#include <future>
#include <thread>

#include <sys/inotify.h>
#include <unistd.h>

#include "Analytics/AnalyticsFixture.h"
#include "Support/ManualClock.h"

namespace {

using Queue = AnalyticsFixture;

const std::string succeeded(KIVSegmentRequestDidSucceedNotification);
const std::string failed(KIVSegmentRequestDidFailNotification);

/// Counts how often a file in the folder is written.
class Writes {
public:
    explicit Writes(const std::string& folder) : watch_(inotify_init1(IN_NONBLOCK)) {
        EXPECT_GE(inotify_add_watch(watch_, folder.c_str(), IN_CREATE), 0);
    }
    ~Writes() { close(watch_); }
    Writes(const Writes&) = delete;
    Writes& operator=(const Writes&) = delete;

    /// Writes since the last call.
    int count() const {
        alignas(inotify_event) char buffer[64 * 1024];
        const ssize_t size = read(watch_, buffer, sizeof buffer);
        int count = 0;
        for (ssize_t at = 0; at < size;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(buffer + at);
            count += std::string_view(event->name).starts_with(".kiv-") ? 1 : 0; // a temporary
            at += ssize_t(sizeof(inotify_event) + event->len);
        }
        return count;
    }

private:
    const int watch_;
};

std::string range(int first, int last) { return std::to_string(first) + "-" + std::to_string(last); }

TEST_F(Queue, IsSentWhenThereIsEnoughOrHalfAMinuteHasPassed) {
    ManualClock& clock = ManualClock::install();
    const auto analytics = client();
    track(*analytics, 0, 19);
    EXPECT_EQ(keptNumbers(), "0-18");
    EXPECT_TRUE(server.requests().empty());
    clock.advance(31);
    EXPECT_EQ(sentNumbers(0), "0-18");
    EXPECT_EQ(nextOutcome(), succeeded);
    EXPECT_EQ(keptNumbers(), "none");

    track(*analytics, 19, 20);
    EXPECT_EQ(sentNumbers(1), "19-38");
    EXPECT_EQ(nextOutcome(), succeeded);
    EXPECT_EQ(keptNumbers(), "none");
    analytics->flush();
    settle();
    EXPECT_TRUE(log.has({"No queued API calls to flush."}));
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(Queue, KeepsOrDropsABatchByWhatBecameOfIt) {
    const struct {
        const char* name;
        LoopbackServer::Behaviour behaviour;
        bool isDropped;
        const char* line;
    } cases[] = {
        {"taken", LoopbackServer::answer(204, ""), true, nullptr},
        {"broken off", LoopbackServer::reset(), false, "Error uploading request "},
        {"moved nowhere", LoopbackServer::answer(302, ""), false, "unexpected HTTP code 302."},
        {"too much", LoopbackServer::answer(429, ""), false, "limited client with response code 429."},
        {"refused", LoopbackServer::answer(400, ""), true, "rejected payload with HTTP code 400."},
        {"unknown", LoopbackServer::answer(404, ""), true, "rejected payload with HTTP code 404."},
        {"failed", LoopbackServer::answer(500, ""), false, "error with HTTP code 500."},
    };
    const auto analytics = client();
    int number = 0;
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        log.clear();
        answer(each.behaviour);
        track(*analytics, number, 3);
        analytics->flush();
        EXPECT_EQ(nextOutcome(), each.isDropped ? succeeded : failed);
        EXPECT_EQ(keptNumbers(), each.isDropped ? "none" : range(number, number + 2));
        EXPECT_TRUE(!each.line || log.has({each.line}));

        answer(LoopbackServer::answer(200, ""));
        track(*analytics, number + 3, 1);
        const std::size_t before = server.requests().size();
        analytics->flush();
        EXPECT_EQ(nextOutcome(), succeeded);
        EXPECT_EQ(sentNumbers(before), range(each.isDropped ? number + 3 : number, number + 3));
        number += 4;
    }
}

TEST_F(Queue, HoldsTheNewestThousandAndSendsTheOldestHundred) {
    ManualClock& clock = ManualClock::install();
    answer(LoopbackServer::answer(503, ""));
    const auto analytics = client();
    for (int i = 0; i < 1200; i += 100) { // no faster than the queue takes them
        track(*analytics, i, 100);
        settle();
    }
    EXPECT_EQ(nextOutcome(), failed);
    EXPECT_EQ(keptNumbers(), "200-1199");
    EXPECT_EQ(server.requests().size(), 1U) << "a service in trouble is not asked again by every event";

    // During an upload no other one starts, and the queue may drop the events that it sends.
    answer(LoopbackServer::stall());
    clock.advance(31);
    EXPECT_EQ(sentNumbers(1), "200-299");
    analytics->flush();
    track(*analytics, 1200, 10);
    EXPECT_EQ(keptNumbers(), "210-1209");
    EXPECT_TRUE(log.has({"API request already in progress, not flushing again."}));
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(Queue, RemovesABatchByWhatIsInIt) {
    const auto analytics = client();
    answer([&](const auto& request, auto& connection) {
        // The oldest events are dropped while they are under way.
        track(*analytics, 20, 990);
        settle();
        LoopbackServer::answer(200, "")(request, connection);
    });
    track(*analytics, 0, 20);
    EXPECT_EQ(nextOutcome(), succeeded);
    EXPECT_EQ(keptNumbers(), "20-1009");
    answer(LoopbackServer::answer(200, ""));
    analytics->flush();
    EXPECT_EQ(sentNumbers(1), "20-119");
}

TEST_F(Queue, OutlivesTheProcessAndWhatIsNoQueueIsAnEmptyOne) {
    client()->flush(); // makes the folder
    settle();
    answer(LoopbackServer::reset());
    track(*client(), 0, 5); // the first run, offline
    EXPECT_EQ(keptNumbers(), "0-4");
    answer(LoopbackServer::answer(200, ""));
    const std::string anonymousId(storage().stringForKey("KIVsegment.anonymousId").as_string());
    {
        const auto analytics = client();
        analytics->flush();
        EXPECT_EQ(nextOutcome(), succeeded);
        EXPECT_EQ(sentNumbers(0), "0-4");
        EXPECT_EQ(analytics->getAnonymousId(), anonymousId);
    }
    const char* const contents[] = {"", "no list", "<plist><dict/></plist>",
                                    "<plist><array><string>x</string></array></plist>",
                                    "<plist><array><dict/></array></plist>"};
    for (const char* content : contents) {
        SCOPED_TRACE(content);
        log.clear();
        std::ofstream(storage().urlForKey("kiv.segmentio.queue.plist"), std::ios::trunc) << content;
        track(*client(), 7, 1);
        EXPECT_EQ(keptNumbers(), "7-7");
        EXPECT_TRUE(log.has({"is no queue of events"}) || log.has({"Unable to parse plist"}));
    }
}

TEST_F(Queue, IsWrittenOnceForAllThatCameWhileTheWorkWentOn) {
    auto patient = configuration();
    patient->flushAt = 10'000;
    const auto analytics = KIVSEGAnalytics::create(patient);
    settle();
    const Writes writes(storage().folderURL());
    std::promise<void> goesOn;
    kiv::SerialQueue().post([&] { goesOn.get_future().wait(); });
    track(*analytics, 0, 400);
    goesOn.set_value();
    settle();
    EXPECT_EQ(writes.count(), 1);
    EXPECT_EQ(keptNumbers(), "0-399");

    analytics->close(10);
    track(*analytics, 400, 1);
    settle();
    EXPECT_EQ(writes.count(), 0) << "a closed client takes nothing";
}

TEST_F(Queue, IsWrittenLaterWhenItCannotBe) {
    ManualClock& clock = ManualClock::install();
    const auto analytics = client();
    settle();
    const std::string path = storage().urlForKey("kiv.segmentio.queue.plist");
    std::filesystem::create_directory(path); // stands in the way
    track(*analytics, 0, 2);
    settle();
    EXPECT_TRUE(log.has({"Unable to write data"}));
    std::filesystem::remove(path);
    clock.advance(2);
    track(*analytics, 2, 1);
    EXPECT_EQ(keptNumbers(), "0-2");

    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    analytics->flush(); // which sends although it cannot write
    EXPECT_EQ(nextOutcome(), succeeded);
    EXPECT_EQ(sentNumbers(0), "0-2");
    std::filesystem::remove(path);
    analytics->close(10);
    EXPECT_TRUE(std::filesystem::is_regular_file(path));
    EXPECT_EQ(keptNumbers(), "none");
}

TEST_F(Queue, OfLargeEventsIsShortAndSparesTheDisk) {
    ManualClock& clock = ManualClock::install();
    auto patient = configuration();
    patient->flushAt = 10'000;
    const auto analytics = KIVSEGAnalytics::create(patient);
    const auto trackLarge = [&](int first, int count, char character = 'x') {
        for (int i = first; i < first + count; ++i) {
            analytics->track("impression", {{"number", i}, {"value", std::string(100'000, character)}});
            settle();
        }
    };
    trackLarge(0, 13);
    EXPECT_EQ(keptNumbers(), "0-12") << "8 MiB are written at will";
    trackLarge(13, 57);
    EXPECT_EQ(keptNumbers(), "0-12");
    clock.advance(20);
    EXPECT_EQ(keptNumbers(), "29-69") << "4 MiB of events";
    trackLarge(70, 1);
    EXPECT_EQ(keptNumbers(), "29-69");
    analytics->flush(); // does not wait for a write
    EXPECT_EQ(sentNumbers(0), "30-70");

    log.clear();
    analytics->track("impression", {{"value", std::string(5'000'000, 'x')}});
    kiv::json::value deep(1);
    for (int i = 0; i < 600; ++i) {
        deep = kiv::json::array{std::move(deep)};
    }
    analytics->track("impression", {{"value", std::move(deep)}});
    EXPECT_EQ(nextOutcome(), succeeded);
    EXPECT_TRUE(log.has({"Error writing payload", "too large, or nests too deep"}));
    clock.advance(40);
    EXPECT_EQ(keptNumbers(), "none");

    trackLarge(71, 50, '&'); // five times as large in the file
    analytics->close(10);
    EXPECT_EQ(keptNumbers(), "80-120");
}

TEST_F(Queue, SparesTheDiskWhileTheServiceAnswers) {
    ManualClock& clock = ManualClock::install();
    const auto analytics = client();
    settle();
    const Writes writes(storage().folderURL());
    const std::string large(100'000, 'x');
    const auto upload = [&](int number) {
        std::promise<void> goesOn; // the queue is written for the batch, not for each event
        kiv::SerialQueue().post([&] { goesOn.get_future().wait(); });
        for (int i = 0; i < 20; ++i) {
            analytics->track("impression", {{"number", 20 * number + i}, {"value", large}});
        }
        goesOn.set_value();
        EXPECT_EQ(nextOutcome(), succeeded);
    };
    upload(0);
    EXPECT_EQ(writes.count(), 2) << "before the batch is sent, and when it has left the queue";
    for (int number = 1; number < 40; ++number) {
        upload(number);
    }
    EXPECT_LE(writes.count(), 10) << "2 MB each time";
    EXPECT_EQ(sentNumbers(39), "780-799");
    clock.advance(60);
    EXPECT_EQ(keptNumbers(), "none");
    upload(40);
    EXPECT_EQ(writes.count(), 3);
}

TEST_F(Queue, IsTheNextClientsOnceOneIsClosed) {
    const std::string abandoned = storage().folderURL() + "/.kiv-abandoned";
    const std::string young = storage().folderURL() + "/.kiv-young";
    for (const auto& path : {abandoned, young}) {
        std::ofstream(path) << "half";
    }
    std::filesystem::last_write_time(abandoned,
                                     std::filesystem::file_time_type::clock::now() - std::chrono::minutes(2));
    const auto answers = std::make_shared<std::promise<void>>();
    answer([answers](const auto& request, auto& connection) {
        answers->get_future().wait();
        LoopbackServer::answer(200, "")(request, connection);
    });
    const auto first = client();
    track(*first, 0, 20);
    EXPECT_EQ(sentNumbers(0), "0-19");
    EXPECT_FALSE(std::filesystem::exists(abandoned));
    EXPECT_TRUE(std::filesystem::exists(young));
    first->close();
    const auto second = client();
    track(*second, 20, 25);
    second->flush();
    EXPECT_EQ(keptNumbers(), "0-44");
    EXPECT_EQ(server.requests().size(), 1U) << "the first client's upload is under way";
    answers->set_value();
    EXPECT_EQ(nextOutcome(), succeeded);
    EXPECT_EQ(keptNumbers(), "20-44");
    answer(LoopbackServer::answer(200, ""));
    second->flush();
    EXPECT_EQ(sentNumbers(1), "20-44");
}

TEST_F(Queue, IsSentWhileACloseWaitsForAnswers) {
    const auto answers = std::make_shared<std::promise<void>>();
    answer([answers](const auto& request, auto& connection) {
        answers->get_future().wait();
        LoopbackServer::answer(200, "")(request, connection);
    });
    const auto first = client();
    track(*first, 0, 20);
    EXPECT_EQ(sentNumbers(0), "0-19");
    first->close();
    auto patient = configuration();
    patient->flushAt = 10'000;
    const auto second = KIVSEGAnalytics::create(patient);
    track(*second, 20, 130);
    settle();
    answer(LoopbackServer::answer(200, ""));
    std::thread closer([&] {
        second->flush();
        second->close(600);
    });
    answers->set_value();
    closer.join();
    EXPECT_EQ(sentNumbers(1), "20-119");
    EXPECT_EQ(sentNumbers(2), "120-149");
    EXPECT_EQ(storage().arrayForKey("kiv.segmentio.queue.plist"), kiv::json::value(kiv::json::array()))
        << "on disk before the close returns";

    answer(LoopbackServer::answer(503, ""));
    const auto third = client();
    track(*third, 0, 120);
    third->close(600);
    EXPECT_EQ(server.requests().size(), 4U) << "a service in trouble is not asked again";
    EXPECT_EQ(keptNumbers(), "0-119");
    client()->close(600); // nothing is under way: does not wait

    answer(LoopbackServer::stall());
    const auto fourth = client();
    fourth->flush();
    EXPECT_EQ(sentNumbers(4), "0-99");
    std::promise<void> closed;
    kiv::SerialQueue().post([&] {
        fourth->close(600); // would wait for its own thread
        closed.set_value();
    });
    EXPECT_EQ(closed.get_future().wait_for(patience), std::future_status::ready);
}

} // namespace
