#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <kiv/NotificationCenter.h>

#include "Platform/Snapshots/ConcurrentMap.h"
#include "Support/Threads.h"

namespace {

/// Counts its living instances, so that leaks and early destructions show.
struct Counted {
    explicit Counted(int number) : value(number) { ++alive; }
    Counted(const Counted& other) : value(other.value) { ++alive; }
    ~Counted() {
        value = -1;
        --alive;
    }
    int value;
    static inline std::atomic<int> alive{0};
};

TEST(Snapshots, OutliveTheirReplacementAsLongAsAGuardIsOpen) {
    kiv::Published<Counted> published(std::make_unique<const Counted>(1));
    {
        const kiv::ReadGuard guard;
        const Counted* seen = published.load();
        std::thread([&] { published.publish(std::make_unique<const Counted>(2)); }).join();
        {
            const kiv::ReadGuard inner;
            EXPECT_EQ(published.load()->value, 2);
        }
        EXPECT_EQ(seen->value, 1) << "an inner guard that closes ends nothing";
        EXPECT_EQ(Counted::alive, 2);
    }
    kiv::collectRetired();
    EXPECT_EQ(Counted::alive, 1);
}

TEST(Snapshots, AreWholeForReadersWhileAWriterReplacesThem) {
    kiv::Published<Counted> published(std::make_unique<const Counted>(0));
    std::atomic<int> wrong{0};
    const auto read = [&] {
        const kiv::ReadGuard guard;
        const Counted* seen = published.load();
        wrong += seen->value < 0;
        std::this_thread::yield();
        wrong += seen->value < 0;
    };
    besideThreads(3, read, [&] {
        for (int i = 1; i < 5000; ++i) {
            published.publish(std::make_unique<const Counted>(i));
        }
    });
    kiv::collectRetired();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(Counted::alive, 1);
}

TEST(ConcurrentMaps, KeepWhatIsPutThroughGrowthAndRemoval) {
    kiv::ConcurrentMap<Counted> map;
    for (int i = 0; i < 1000; ++i) {
        map.set("key" + std::to_string(i), std::make_shared<Counted>(i));
    }
    for (int i = 0; i < 1000; i += 2) {
        map.remove("key" + std::to_string(i));
    }
    map.remove("never there");
    map.set("key1", std::make_shared<Counted>(-7));
    EXPECT_FALSE(map.setIfAbsent("key3", std::make_shared<Counted>(0)));
    EXPECT_TRUE(map.setIfAbsent("key2", std::make_shared<Counted>(22)));
    EXPECT_EQ(map.size(), 501U);
    EXPECT_EQ(map.entries().size(), 501U);
    EXPECT_EQ(map.get("key1")->value, -7);
    EXPECT_EQ(map.get("key2")->value, 22);
    EXPECT_EQ(map.get("key4"), nullptr);
    EXPECT_EQ(map.get("key999")->value, 999);
    map.clear();
    EXPECT_EQ(map.get("key999"), nullptr);
    kiv::collectRetired();
    EXPECT_EQ(Counted::alive, 0);
}

TEST(ConcurrentMaps, AreReadWhileTheyChange) {
    kiv::ConcurrentMap<Counted> map;
    map.set("stays", std::make_shared<Counted>(1));
    std::atomic<int> missed{0};
    const auto read = [&] {
        const kiv::ReadGuard guard;
        const auto* found = map.find("stays");
        missed += !found || (*found)->value != 1;
    };
    besideThreads(1, read, [&] {
        for (int i = 0; i < 5000; ++i) {
            map.set("other" + std::to_string(i % 700), std::make_shared<Counted>(i));
            if (i % 3 == 0) {
                map.remove("other" + std::to_string(i % 100));
            }
        }
    });
    EXPECT_EQ(missed, 0);
}

TEST(Notifications, ReachObserversThatComeGoAndThrow) {
    kiv::NotificationCenter center;
    std::string seen;
    kiv::NotificationCenter::Token inner = 0;
    const auto first = center.addObserver("a", [&](const kiv::Notification& notification) {
        ASSERT_NE(notification.object<int>(), nullptr);
        EXPECT_EQ(notification.object<std::string>(), nullptr);
        seen += std::to_string(*notification.object<int>());
        inner = center.addObserver("a", [&](const kiv::Notification&) { seen += 'n'; });
        throw 1;
    });
    const auto second = center.addObserver("a", [&](const kiv::Notification&) { seen += 's'; });
    const auto other = center.addObserver("b", [&](const kiv::Notification&) { seen += 'b'; });
    center.post("a", 7);
    EXPECT_EQ(seen, "7s") << "an observer added meanwhile hears of the next one";
    center.removeObserver(first);
    center.removeObserver(second);
    center.post("a", 8);
    EXPECT_EQ(seen, "7sn");
    center.removeObserver(other);
    center.removeObserver(inner);
    center.post("b", 9);
    EXPECT_EQ(seen, "7sn");
}

} // namespace
