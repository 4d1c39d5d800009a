#include "Platform/Threads/Queues.h"

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>

#include "Platform/Threads/ThreadEnd.h"
#include "Support/Host.h"
#include "Support/ManualClock.h"
#include "Support/Threads.h"

namespace {

using namespace std::chrono_literals;
using kiv::SerialQueue;
using kiv::Timer;

void runToEnd(SerialQueue& queue) {
    std::promise<void> ran;
    queue.post([&] { ran.set_value(); });
    ran.get_future().wait();
}

TEST(Queues, RunTasksOneByOneInOrder) {
    SerialQueue queue;
    std::vector<std::pair<int, int>> ran; // not guarded: the queue does that
    onThreads(4, [&](int thread) {
        for (int i = 0; i < 250; ++i) {
            queue.post([&ran, thread, i] { ran.emplace_back(thread, i); });
        }
    });
    runToEnd(queue);
    ASSERT_EQ(ran.size(), 1000U);
    int next[4] = {};
    for (const auto& [thread, i] : ran) {
        EXPECT_EQ(i, next[thread]++);
    }
}

TEST(Queues, KnowWhetherTheyAreCurrent) {
    SerialQueue one;
    SerialQueue other;
    EXPECT_FALSE(one.isCurrent());
    one.post([&] {
        EXPECT_TRUE(one.isCurrent());
        EXPECT_FALSE(other.isCurrent());
        throw std::runtime_error("does no harm");
    });
    other.post([&] { EXPECT_TRUE(other.isCurrent() && !one.isCurrent()); });
    runToEnd(other);
    bool ran = false;
    SerialQueue().post([&] { ran = true; });
    runToEnd(one);
    EXPECT_TRUE(ran) << "a task outlives its queue";
}

/// Posts to a queue when it is destroyed.
struct Chatty {
    SerialQueue& queue;
    std::atomic<int>& released;
    ~Chatty() {
        queue.post([&released = released] { ++released; });
    }
};

TEST(Queues, ReleaseTasksWhereTheyMayPost) {
    SerialQueue queue;
    std::atomic<int> released = 0;
    const auto chatty = [&] { return std::shared_ptr<Chatty>(new Chatty{queue, released}); };
    queue.post([held = chatty()] {});
    Timer soon(0, false, [held = chatty()] {});
    Timer never(1000, false, [held = chatty()] {});
    never.cancel();
    never.cancel();
    Timer::timePassed();
    EXPECT_EQ(released, 3);
}

TEST(Queues, GoOnWhenACallbackEndsTheirThread) {
    std::atomic<int> linesOfWork = 0;
    std::atomic<int> linesOfMain = 0;
    configureHost([&](KIVHost& host) {
        host.logSink = [&](const std::string& line) {
            linesOfWork += line == kiv::threadEndText("kiv-work");
            linesOfMain += line == kiv::threadEndText("kiv-main");
        };
    });
    std::atomic<int> onWork = 0;
    std::atomic<int> onMain = 0;
    std::atomic<int> ofTimer = 0;
    Timer timer(0.01, true, [&] {
        ++ofTimer;
        pthread_exit(nullptr);
    });
    SerialQueue queue;
    for (int i = 0; i < 3; ++i) {
        queue.post([] { pthread_exit(nullptr); });
        queue.post([&] { onWork += queue.isCurrent() && kiv::isOnWorkThread(); });
        kiv::postToMainQueue([] { pthread_exit(nullptr); });
        kiv::postToMainQueue([&] { ++onMain; });
    }
    EXPECT_TRUE(eventually([&] { return onWork == 3 && onMain == 3 && ofTimer >= 3; }));
    timer.cancel();
    queue.post([] { pthread_cancel(pthread_self()); });
    Timer::timePassed();
    EXPECT_EQ(linesOfWork, 1);
    EXPECT_TRUE(eventually([&] { return linesOfMain == 1; }));
    KIVHost::configure({});
}

TEST(Timers, RunWhenTheirTimeHasCome) {
    ManualClock& clock = ManualClock::install();
    std::vector<std::string> ran;
    SerialQueue queue;
    const auto note = [&](const char* name) { return [&ran, name] { ran.emplace_back(name); }; };
    Timer late(20, false, note("late"));
    Timer early(10, false, note("early"));
    Timer again(8, true, [&] { queue.post(note("again")); });
    Timer cancelled(5, false, note("cancelled"));
    { const Timer gone(5, false, note("gone")); }
    cancelled.cancel();
    clock.advance(7.5);
    EXPECT_TRUE(ran.empty());
    clock.advance(0.5);
    EXPECT_EQ(ran, std::vector<std::string>{"again"});
    clock.advance(2);
    EXPECT_EQ(ran, (std::vector<std::string>{"again", "early"}));
    // 16 and 24 have passed: one run makes up for both, and the next is at 32.
    clock.advance(18);
    EXPECT_EQ(ran, (std::vector<std::string>{"again", "early", "late", "again"}));
    clock.advance(3.9);
    EXPECT_EQ(ran.size(), 4U);
    clock.advance(0.2);
    EXPECT_EQ(ran.size(), 5U);
    again = Timer(1, false, note("replaced"));
    clock.advance(20);
    EXPECT_EQ(ran.back(), "replaced");
    EXPECT_EQ(ran.size(), 6U);
}

TEST(Timers, MayBeCancelledByTheirOwnTask) {
    ManualClock& clock = ManualClock::install();
    int runs = 0;
    Timer timer;
    timer = Timer(1, true, [&] {
        if (++runs == 2) {
            timer.cancel();
        }
    });
    for (int i = 0; i < 4; ++i) {
        clock.advance(1);
    }
    EXPECT_EQ(runs, 2);
}

TEST(Timers, KeepTheSystemsTime) {
    std::promise<void> ran;
    const auto start = std::chrono::steady_clock::now();
    const Timer far(1e300, false, [] { ADD_FAILURE(); });
    const Timer near(0.05, false, [&] { ran.set_value(); });
    ASSERT_EQ(ran.get_future().wait_for(10s), std::future_status::ready);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
}

TEST(MainQueue, IsTheHostsOrAThreadInItsPlace) {
    std::promise<std::thread::id> own;
    kiv::postToMainQueue([&] { own.set_value(std::this_thread::get_id()); });
    EXPECT_NE(own.get_future().get(), std::this_thread::get_id());

    std::vector<std::function<void()>> posted;
    configureHost([&](KIVHost& host) {
        host.mainQueue = [&](std::function<void()> task) { posted.push_back(std::move(task)); };
    });
    bool ran = false;
    kiv::postToMainQueue([&] { ran = true; });
    ASSERT_EQ(posted.size(), 1U);
    EXPECT_FALSE(ran);
    posted[0]();
    EXPECT_TRUE(ran);
}

} // namespace
