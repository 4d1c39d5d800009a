#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>

#include <kiv/KIVFlagsScreen.h>
#include <kiv/kiv.h>

#include "CorvaneClient/Shop.h"
#include "Platform/Http/HttpClient.h"
#include "Platform/System/Files.h"
#include "Support/CapturedLog.h"
#include "Support/SilentServer.h"

namespace {

using namespace std::chrono_literals;

void setUp(const SilentServer& network) {
    KIVOptions options;
    options.networkConfigurations = KIVNetworkConfigurationsOptions{.getConfigCloudEndpoint = network.url()};
    KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80912", options);
}

/// 0 when nobody answers.
int statusOf(kiv::HttpRequest request) {
    auto status = std::make_shared<std::promise<int>>();
    kiv::sendHttpRequest(std::move(request),
                         [status](const kiv::HttpResponse& response) { status->set_value(response.status); });
    return status->get_future().get();
}

TEST(FlagsScreenInTheBrowser, IsThereWhileItIsPresented) {
    KIVFlagsScreen early(KIVCore::flagsViewController());
    EXPECT_EQ(early.present().address, std::nullopt);
    EXPECT_FALSE(early.present().failure.empty());
    EXPECT_FALSE(early.openInBrowser());

    const SilentServer network;
    setUp(network);
    std::string last;
    {
        KIVFlagsScreen brief(KIVCore::flagsViewController());
        last = brief.present().address.value();
    }
    EXPECT_EQ(statusOf({.url = last}), 0);
    const auto controller = KIVCore::flagsViewController();
    KIVFlagsScreen screen(controller);
    const std::function<void()> ends[] = {[&] { screen.dismiss(); }, [&] { controller->done(); },
                                          [&] { KIVCore::shutdown(); }};
    for (const auto& end : ends) {
        controller->setView({}); // a toolkit's view beside it changes nothing
        last = screen.present().address.value();
        EXPECT_EQ(screen.present().address, last);
        EXPECT_EQ(statusOf({.url = last}), 200);
        KIVFlagsScreen other(controller);
        const std::string beside = other.present().address.value();
        end();
        if (&end == &ends[0]) {
            other.dismiss();
        }
        for (const std::string& address : {last, beside}) {
            EXPECT_EQ(statusOf({.url = address}), 0);
        }
        EXPECT_FALSE(screen.address() || other.address());
    }
    KIVFlagsScreen late(KIVCore::flagsViewController());
    for (KIVFlagsScreen* each : {&screen, &late}) {
        const auto gone = each->present();
        EXPECT_FALSE(gone.address) << "its flags are another client's by now, or nobody's";
        EXPECT_FALSE(gone.failure.empty());
    }
}

TEST(FlagsScreenInTheBrowser, OutlivesACallbackThatEndsItsThread) {
    const CapturedLog log;
    const std::string document = std::getenv("HOME") + std::string("/document.json");
    const std::string payload =
        payloadOf({kiv::json::object{{"_id", "1"},
                                     {"deploymentConfiguration", {{"condition", "property(\"leaves\")"}}},
                                     {"featureFlags", kiv::json::array{{{"name", "shop.open"}}}}}});
    kiv::writeFile(document, kiv::compactJson(kiv::json::object{{"data", payload}}));
    std::atomic<int> calls = 0;
    KIVCore::setCustomComputedBooleanProperty(
        [&](auto, const auto&) {
            if (++calls <= 2) {
                pthread_exit(nullptr);
            }
            return true;
        },
        "leaves");
    KIVCore::register_("shop", std::make_shared<ShopFlags>());
    KIVCore::setupWithKey(shopKey, {.disableSignatureVerification = true,
                                    .defaultConfigurationPath = document,
                                    .networkConfigurations = KIVNetworkConfigurationsOptions()});
    KIVFlagsScreen screen(KIVCore::flagsViewController());
    const std::string address = screen.present().address.value();
    for (const int status : {0, 0, 200}) {
        EXPECT_EQ(statusOf({.method = "POST",
                            .url = address + "load",
                            .headers = {{"Content-Type", "application/json"}},
                            .body = R"({"tab": "t"})"}),
                  status);
    }
    EXPECT_EQ(calls, 3);
    EXPECT_TRUE(log.has({"A callback ended the library's thread kiv-screen"}));
    EXPECT_EQ(statusOf({.url = address}), 200);
    screen.dismiss();
    EXPECT_EQ(statusOf({.url = address}), 0);
}

TEST(FlagsScreenInTheBrowser, IsOpenedByTheSystem) {
    const SilentServer network;
    setUp(network);
    const std::string folder = std::getenv("HOME");
    kiv::writeFile(folder + "/xdg-open",
                   "#!/bin/sh\nls /proc/self/fd | wc -l >\"$HOME/files\"\n"
                   "printf %s \"$1\" >\"$HOME/part\"\nmv \"$HOME/part\" \"$HOME/opened\"\n");
    std::filesystem::permissions(folder + "/xdg-open", std::filesystem::perms::owner_all);
    const std::string runtime = folder + "/runtime";
    const std::string abandoned = runtime + "/kiv-private-killed.html";
    kiv::writeFile(abandoned, "");
    std::filesystem::last_write_time(abandoned, std::filesystem::file_time_type::clock::now() - 61min);
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    KIVFlagsScreen screen(KIVCore::flagsViewController());
    const std::string address = screen.present().address.value();
    const std::string path = std::getenv("PATH");
    setenv("PATH", "/nowhere", 1);
    EXPECT_FALSE(screen.openInBrowser());
    EXPECT_TRUE(std::filesystem::is_empty(runtime));
    setenv("PATH", (folder + ":" + path).c_str(), 1);
    ASSERT_TRUE(screen.openInBrowser());
    std::optional<std::string> opened;
    for (const auto late = std::chrono::steady_clock::now() + 10s;
         !opened && std::chrono::steady_clock::now() < late; std::this_thread::sleep_for(5ms)) {
        opened = kiv::readFile(folder + "/opened");
    }
    ASSERT_TRUE(opened);
    EXPECT_EQ(opened->find("http"), std::string::npos) << "others can see it";
    EXPECT_EQ(std::filesystem::status(*opened).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_NE(kiv::readFile(*opened).value_or("").find(address), std::string::npos);
    screen.dismiss();
    EXPECT_FALSE(std::filesystem::exists(*opened));
    EXPECT_EQ(kiv::readFile(folder + "/files"), "4\n") << "input, outputs, and what `ls` itself opens";
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
}

TEST(FlagsScreenInTheBrowser, DoesNotHoldUpTheEndOfTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const bool isDismissed : {false, true}) {
        const auto end = [&] {
            static const SilentServer& network = *new SilentServer;
            setUp(network);
            static KIVFlagsScreen& screen = *new KIVFlagsScreen(KIVCore::flagsViewController());
            screen.present();
            if (isDismissed) {
                screen.dismiss();
            }
            std::exit(7);
        };
        EXPECT_EXIT(end(), ::testing::ExitedWithCode(7), "");
    }
}

} // namespace
