#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "CorvaneClient/Shop.h"
#include "Platform/System/Files.h"
#include "Platform/Threads/Queues.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Support/CapturedLog.h"
#include "Support/Inbox.h"
#include "Support/LoopbackServer.h"
#include "Support/Signing.h"
#include "Support/Threads.h"

namespace {

using Server = LoopbackServer;
using Context = KIVDynamicPropertyContext;

struct ForkFlags : KIVBaseContainer {
    KIVString color{"blue"};
    KIVString seen{"none"};
    KIVString given{"none"};
    KIVString frozen{"none", {}, KIVFreezeForever};
    KIV_CONTAINER(ForkFlags, color, seen, given, frozen);
};

/// The allocators of the address and the thread sanitizer leave their own locks to the child as another
/// thread held them. Under the sanitizers, the threads of these tests pause for a fork.
class Pause {
public:
    std::shared_lock<std::shared_mutex> forOthers() {
        while (isWanted_) { // the mutex would let the others in before the fork
            std::this_thread::yield();
        }
        return isNeeded ? std::shared_lock(lock_) : std::shared_lock<std::shared_mutex>();
    }
    std::unique_lock<std::shared_mutex> forFork() {
        if (!isNeeded) {
            return {};
        }
        isWanted_ = true;
        std::unique_lock lock(lock_);
        kiv::Timer::timePassed(); // the library's work thread rests
        isWanted_ = false;
        return lock;
    }

private:
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    static constexpr bool isNeeded = true;
#elif defined(__has_feature)
    static constexpr bool isNeeded = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
    static constexpr bool isNeeded = false;
#endif
    std::atomic<bool> isWanted_ = false;
    std::shared_mutex lock_;
};

/// The exit status of a child that does `work`, 0 when `work` returns true. A child that hangs is ended by a
/// signal, which gives -1.
int inChild(const std::function<bool()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(work() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class Fork : public ::testing::Test {
protected:
    Fork() {
        KIVCore::register_("shop", flags);
        serve("red");
    }
    ~Fork() override { KIVCore::shutdown(); }

    void setUp() {
        KIVCore::setupWithKey(
            shopKey, {.onConfigurationFetched = [heard = heard](const auto& result) { heard->put(result); },
                      .verbose = 1,
                      .customSigningCertificate = signer.certificateBase64,
                      .networkConfigurations = {{.getConfigCloudEndpoint = server.url("/cdn"),
                                                 .pushNotificationEndpoint = server.url("/sse")}}});
        ASSERT_TRUE(heard->next());
    }

    void serve(const std::string& color) {
        server.on(
            "/cdn/" + shopKey + "/" + KIVDeviceProperties::buidFor(shopKey, signer.certificateBase64),
            Server::answer(200, signer.sign(payloadOf({experiment("shop.color", color),
                                                       makeExperiment("shop.seen", R"(property("seen"))"),
                                                       makeExperiment("shop.given", R"(property("given"))"),
                                                       makeExperiment("shop.frozen", R"(property("slow"))"),
                                                       experiment("kiv.internal.pushUpdates", "true")}))));
    }

    bool canRead() const { return flags->color.value() == "red"; }
    bool canSetProperties() const {
        KIVCore::setCustomStringProperty("child", "seen");
        return flags->seen.value() == "child";
    }
    bool canGiveContexts() const {
        KIVCore::setGlobalDynamicPropertyContext(Context({{"given", std::string("global")}}));
        return flags->given.value() == "global" &&
               flags->given.value(Context({{"given", std::string("own")}})) == "global";
    }
    bool canOverride() const {
        KIVCore::overrides()->setOverride("green", "shop.color");
        const bool isOverridden = flags->color.value() == "green";
        KIVCore::overrides()->clearOverrideForName("shop.color");
        return isOverridden && canRead();
    }

    CapturedLog log;
    const Signer signer = makeSigner();
    LoopbackServer server;
    std::shared_ptr<ForkFlags> flags = std::make_shared<ForkFlags>();
    std::shared_ptr<Inbox<KIVFetcherResult>> heard = std::make_shared<Inbox<KIVFetcherResult>>();
};

/// A counter that a child shares with its parent.
class SharedCount {
public:
    SharedCount()
        : count_(
              static_cast<std::atomic<int>*>(mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                                                  MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
    ~SharedCount() { munmap(count_, sizeof(std::atomic<int>)); }
    SharedCount(const SharedCount&) = delete;
    SharedCount& operator=(const SharedCount&) = delete;

    std::atomic<int>& operator*() const { return *count_; }

private:
    std::atomic<int>* const count_;
};

// A server with eight workers, which are killed and born anew. The parent's other threads are in the midst of
// everything that takes a lock.
TEST_F(Fork, LeavesChildrenThatGoOn) {
    setUp();
    struct Worker {
        pid_t process = 0;
        SharedCount rounds;
        SharedCount failures;
    };
    std::array<Worker, 8> workers;
    Pause pause;
    const auto begin = [&](Worker& worker) {
        *worker.rounds = 0;
        const auto paused = pause.forFork();
        worker.process = fork();
        if (worker.process == 0) {
            for (;;) {
                const bool isGood = canRead() && canSetProperties() && canGiveContexts() && canOverride();
                *worker.failures += isGood ? 0 : 1;
                ++*worker.rounds;
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
    };
    const auto end = [](const Worker& worker) {
        EXPECT_TRUE(eventually([&] { return *worker.rounds >= 2; })) << "a child hangs";
        EXPECT_EQ(*worker.failures, 0);
        kill(worker.process, SIGKILL);
        waitpid(worker.process, nullptr, 0);
    };
    std::atomic<int> round = 0;
    const auto disturb = [&] {
        const auto running = pause.forOthers();
        const std::string name = "other" + std::to_string(++round % 50);
        KIVCore::setCustomStringProperty(name, name);
        KIVCore::setGlobalDynamicPropertyContext(Context({{name, name}}));
        KIVCore::overrides()->setOverride(name, "shop." + name);
        KIVCore::dynamicAPI()->isEnabled("shop.made" + std::to_string(round % 1000), false);
        flags->given.value(Context({{"given", name}}));
        KIVCore::flagsViewController();
    };
    besideThreads(4, disturb, [&] {
        std::ranges::for_each(workers, begin);
        for (std::size_t birth = 0; birth < 100; ++birth) {
            Worker& worker = workers[birth % workers.size()];
            end(worker);
            begin(worker);
        }
        std::ranges::for_each(workers, end);
    });
}

TEST_F(Fork, IsSilentUntilItIsToldToResume) {
    setUp();
    ASSERT_TRUE(server.waitForRequests(2)) << "the document, and the stream";
    const std::string library = *KIVHost::current()->libraryDirectory;
    const std::string overrides = library + "/Application Support/io.corvane/flags/overrides";
    EXPECT_EQ(inChild([&] {
                  KIVCore::fetch();
                  KIVCore::register_("late", std::make_shared<ShopFlags>());
                  KIVCore::switchToSDKKey("5e0bd1f2c3a4b5d6e7f80999");
                  KIVCore::overrides()->setOverride("green", "shop.color");
                  const bool isSilent = !kiv::fileExists(overrides) && flags->color.value() == "green";
                  KIVCore::shutdown();
                  return isSilent;
              }),
              0);
    EXPECT_EQ(server.requests().size(), 2U);
    EXPECT_EQ(KIVCore::currentSDKKey(), shopKey);
    EXPECT_TRUE(canRead());
}

TEST_F(Fork, ResumesWithThreadsConnectionsAndAFetchOfItsOwn) {
    const auto word = std::make_shared<std::promise<std::string>>();
    const auto streams = std::make_shared<std::atomic<int>>(0);
    server.on("/sse/" + shopKey, [word, streams](const auto&, Server::Connection& connection) {
        connection.send("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n:\n\n");
        if ((*streams)++ == 0) {
            connection.send(word->get_future().get());
        }
        connection.stall();
    });
    setUp();
    ASSERT_TRUE(eventually([&] { return *streams == 1; }));
    serve("green");
    EXPECT_EQ(inChild([&] {
                  const bool goesOn = canRead() && canSetProperties() && canGiveContexts();
                  KIVCore::overrides()->setOverride("mine", "shop.frozen");
                  KIVCore::resumeAfterFork();
                  EXPECT_EQ(flags->given.value(), "global");
                  EXPECT_EQ(flags->frozen.value(), "mine");
                  // The stored document first, then that of the service.
                  const auto stored = heard->next();
                  const auto fetched = heard->next();
                  KIVCore::resumeAfterFork(); // does nothing
                  return goesOn && stored && fetched && stored->fetcherStatus == 2 &&
                         fetched->fetcherStatus == 3 && flags->color.value() == "green" && !HasFailure() &&
                         KIVCore::state() == 2;
              }),
              0);
    // The child has opened a stream of its own, and the parent's is as it was.
    ASSERT_TRUE(eventually([&] { return *streams == 2; }));
    EXPECT_TRUE(canRead());
    word->set_value("event: changed\ndata: x\n\n");
    EXPECT_TRUE(eventually([&] { return flags->color.value() == "green"; }));
}

TEST_F(Fork, FreezesAFlagThatAThreadOfTheParentWasFreezing) {
    std::promise<void> begun;
    std::promise<void> go;
    std::atomic<bool> waits = true;
    KIVCore::setCustomComputedStringProperty(
        [&](std::string_view, const Context&) {
            if (waits.exchange(false)) {
                begun.set_value();
                go.get_future().wait();
            }
            return std::string("value");
        },
        "slow");
    setUp();
    std::thread freezing([&] { EXPECT_EQ(flags->frozen.value(), "value"); });
    begun.get_future().wait();
    EXPECT_EQ(inChild([&] {
                  const bool isRead = flags->frozen.value() == "value";
                  KIVCore::setCustomStringProperty("other", "slow");
                  return isRead && flags->frozen.isFreezed() && flags->frozen.value() == "value";
              }),
              0);
    go.set_value();
    freezing.join();
}

// A setup in another thread holds its lock while it calls the application.
TEST_F(Fork, GoesOnAfterASetupThatWasCutShort) {
    setUp();
    std::promise<void> begun;
    std::promise<void> go;
    std::atomic<bool> isFirst = true;
    std::thread settingUp([&] {
        KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80913",
                              {.onConfigurationFetched =
                                   [&](const auto&) {
                                       if (isFirst.exchange(false)) {
                                           begun.set_value();
                                           go.get_future().wait();
                                       }
                                   },
                               .customSigningCertificate = signer.certificateBase64,
                               .networkConfigurations = {{}}});
    });
    begun.get_future().wait();
    EXPECT_EQ(inChild([&] {
                  KIVCore::resumeAfterFork();
                  KIVCore::shutdown();
                  KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80914", {.networkConfigurations = {{}}});
                  return KIVCore::state() == 2U;
              }),
              0);
    go.set_value();
    settingUp.join();
    KIVCore::shutdown(); // before what the handler uses goes
}

} // namespace
