#include "Platform/Threads/LibraryThread.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <map>
#include <thread>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Platform/Http/HttpClient.h"
#include "Platform/System/Files.h"
#include "Platform/Threads/Queues.h"
#include "Support/Host.h"
#include "Support/LoopbackServer.h"

namespace {

using namespace std::chrono_literals;
using Moment = std::chrono::steady_clock::time_point;

void useEveryThread() {
    std::promise<void> network;
    std::promise<void> work;
    std::promise<void> main;
    kiv::sendHttpRequest({.url = ""}, [&](const kiv::HttpResponse&) { network.set_value(); });
    kiv::SerialQueue().post([&] { work.set_value(); });
    kiv::postToMainQueue([&] { main.set_value(); });
    for (auto* each : {&network, &work, &main}) {
        each->get_future().wait();
    }
}

/// The mask of blocked signals of each thread whose name starts with "kiv-".
std::map<std::string, std::string> libraryThreads() {
    std::map<std::string, std::string> found;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        const std::string status = kiv::readFile(task.path() / "status").value_or("");
        const auto field = [&](const std::string& name) {
            const std::size_t start = status.find(name + ":\t") + name.size() + 2;
            return status.substr(start, status.find('\n', start) - start);
        };
        if (field("Name").starts_with("kiv-")) {
            found[field("Name")] = field("SigBlk");
        }
    }
    return found;
}

TEST(LibraryThreads, AreNamedAndBlockEverySignal) {
    EXPECT_TRUE(libraryThreads().empty());
    useEveryThread();
    // All but SIGKILL and SIGSTOP, which nobody can block, and the two that belong to the C library.
    const std::string every = "fffffffe7ffbfeff";
    EXPECT_EQ(libraryThreads(), (std::map<std::string, std::string>{
                                    {"kiv-main", every}, {"kiv-network", every}, {"kiv-work", every}}));
}

Moment endStarted;

void endNow() {
    endStarted = std::chrono::steady_clock::now();
    std::exit(7);
}

/// Ends the process by `exit` with the code 7, in the state that `prepare` has brought it into. The code is 8
/// when the exit handlers take too long.
void endProcess(const std::function<void()>& prepare) {
    // Registered first, and so run last.
    std::atexit([] {
        if (std::chrono::steady_clock::now() - endStarted > 500ms) {
            _exit(8);
        }
    });
    prepare();
    endNow();
}

TEST(LibraryThreads, NeverHoldUpTheEndOfTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // The servers are this process's: the one that ends finds their addresses in its environment.
    std::unique_ptr<LoopbackServer> plain;
    std::unique_ptr<LoopbackServer> secure;
    if (!std::getenv("KIV_TEST_PLAIN")) {
        const LoopbackServer::Options identity = makeTlsIdentity(std::getenv("HOME"));
        plain = std::make_unique<LoopbackServer>();
        secure = std::make_unique<LoopbackServer>(identity);
        for (const auto& server : {plain.get(), secure.get()}) {
            server->on("/never", LoopbackServer::stall());
            server->on("/", LoopbackServer::answer(200, "text"));
        }
        setenv("KIV_TEST_PLAIN", plain->url("").c_str(), 1);
        setenv("KIV_TEST_SECURE", secure->url("").c_str(), 1);
        setenv("KIV_TEST_CA", identity.certificateFile.c_str(), 1);
    }
    const std::string plainUrl = std::getenv("KIV_TEST_PLAIN");
    const std::string secureUrl = std::getenv("KIV_TEST_SECURE");
    const auto trust = [] { configureHost([](KIVHost& host) { host.caFile = std::getenv("KIV_TEST_CA"); }); };
    const std::function<void()> states[] = {
        useEveryThread,
        [&] {
            kiv::sendHttpRequest({.url = plainUrl + "/never"}, [](const kiv::HttpResponse&) {});
            std::this_thread::sleep_for(50ms);
        },
        [&] {
            trust();
            kiv::openHttpStream({.url = secureUrl + "/never", .idleTimeout = 0}, {});
            std::this_thread::sleep_for(50ms);
        },
        [&] { // handshakes, requests and answers, over and over
            trust();
            static std::function<void()> again = [&] {
                kiv::sendHttpRequest({.url = secureUrl + "/", .headers = {{"Connection", "close"}}},
                                     [](const kiv::HttpResponse&) { again(); });
            };
            for (int i = 0; i < 10; ++i) {
                again();
            }
            std::this_thread::sleep_for(std::chrono::microseconds(getpid() % 32 * 1000));
        },
        [&] { // the first thread starts while the process ends
            kiv::sendHttpRequest({.url = secureUrl + "/"}, [](const kiv::HttpResponse&) {});
        },
        [] { // a task that does not end
            kiv::SerialQueue().post([] { std::this_thread::sleep_for(1h); });
            std::this_thread::sleep_for(10ms);
        },
        [] { // the end comes from a thread of the library
            kiv::SerialQueue().post(endNow);
            std::this_thread::sleep_for(1h);
        },
        [] { // and from a child
            useEveryThread();
            if (const pid_t child = fork(); child > 0) {
                int status = 0;
                waitpid(child, &status, 0);
                // Its code does not count: a leak checker in the child reports the memory of the parent's
                // threads.
                if (!WIFEXITED(status)) {
                    _exit(9);
                }
            }
        },
    };
    for (const auto& prepare : states) {
        EXPECT_EXIT(endProcess(prepare), testing::ExitedWithCode(7), "") << "state " << &prepare - states;
    }
}

} // namespace
