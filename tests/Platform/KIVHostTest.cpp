#include <kiv/KIVHost.h>

#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include <kiv/NotificationCenter.h>

#include "Platform/Host/LinuxHost.h"
#include "Platform/Host/UserDefaults.h"
#include "Platform/System/Clock.h"
#include "Platform/System/Files.h"
#include "Support/Host.h"
#include "Support/ManualClock.h"
#include "Support/TemporaryFolder.h"
#include "Support/Threads.h"

namespace {

namespace fs = std::filesystem;

class Host : public testing::Test {
protected:
    void SetUp() override {
        setenv("HOME", "/home/someone/", 1);
        unsetenv("XDG_DATA_HOME");
        unsetenv("LC_ALL");
        unsetenv("LC_MESSAGES");
        setenv("LANG", "de_CH.UTF-8@euro", 1);
    }

    static std::shared_ptr<const KIVHost> detected() {
        KIVHost::configure({});
        return KIVHost::current();
    }

    const fs::path program_ = fs::read_symlink("/proc/self/exe");
};

TEST_F(Host, DetectsWhatTheApplicationDoesNotTell) {
    const auto host = detected();
    const std::string name = program_.filename().string();
    EXPECT_EQ(host->homeDirectory, "/home/someone");
    EXPECT_EQ(host->libraryDirectory, "/home/someone/.local/share/" + name + "/Library");
    EXPECT_EQ(host->resourceDirectory, program_.parent_path().string());
    EXPECT_EQ(host->locale, "de_CH");
    EXPECT_EQ(host->idiom, "unspecified");
    EXPECT_TRUE(host->deviceName && host->systemName && host->systemVersion && host->model);
    EXPECT_FALSE(host->bundleIdentifier || host->shortVersion || host->version || host->screen);
    const auto machine = kiv::readFile("/etc/machine-id");
    EXPECT_EQ(host->vendorIdentifier.has_value(), machine && machine->find('\n') == 32);

    setenv("XDG_DATA_HOME", "relative", 1);
    EXPECT_EQ(detected()->libraryDirectory, host->libraryDirectory);
    setenv("XDG_DATA_HOME", "/data/", 1);
    EXPECT_EQ(detected()->libraryDirectory, "/data/" + name + "/Library");
    configureHost([](KIVHost& told) {
        told.bundleIdentifier = "com.example.app";
        told.homeDirectory = "/other";
    });
    EXPECT_EQ(KIVHost::current()->libraryDirectory, "/data/com.example.app/Library");
    EXPECT_EQ(KIVHost::current()->homeDirectory, "/other");
}

TEST_F(Host, ReadsTheLocaleAsTextAlone) {
    const struct {
        const char* all;
        const char* messages;
        const char* lang;
        std::optional<std::string> locale;
    } cases[] = {{"en_GB.UTF-8", "fr_FR", "it_IT", "en_GB"},
                 {"", "fr_FR", "it_IT", "fr_FR"},
                 {"", "", "C.UTF-8", std::nullopt},
                 {"POSIX", "fr_FR", "it_IT", std::nullopt},
                 {"", "", "", std::nullopt},
                 {"", "", "pt", "pt"}};
    for (const auto& each : cases) {
        setenv("LC_ALL", each.all, 1);
        setenv("LC_MESSAGES", each.messages, 1);
        setenv("LANG", each.lang, 1);
        EXPECT_EQ(detected()->locale, each.locale) << each.all << each.messages << each.lang;
    }
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
}

TEST_F(Host, ReadsTheInformationFileBesideTheExecutable) {
    // Of a program of its own: other processes run this one at the same time.
    const TemporaryFolder folder;
    const std::string program = folder / "shop";
    const std::string information = program + ".info.json";
    ASSERT_TRUE(kiv::writeFile(information, R"({"bundleIdentifier": "com.example.shop", "shortVersion": "2.1",
                                                "version": 17, "resources": "../share/./"})"));
    const KIVHost host = kiv::completeHost({}, program);
    EXPECT_EQ(host.bundleIdentifier, "com.example.shop");
    EXPECT_EQ(host.shortVersion, "2.1");
    EXPECT_FALSE(host.version);
    EXPECT_EQ(host.resourceDirectory, (fs::path(folder.path()).parent_path() / "share").string());
    EXPECT_EQ(host.libraryDirectory, "/home/someone/.local/share/com.example.shop/Library");
    KIVHost told;
    told.shortVersion = "3";
    told = kiv::completeHost(told, program);
    EXPECT_EQ(told.shortVersion, "3");
    EXPECT_EQ(told.bundleIdentifier, "com.example.shop");

    ASSERT_TRUE(kiv::writeFile(information, "damaged"));
    EXPECT_FALSE(kiv::completeHost({}, program).bundleIdentifier);
}

TEST_F(Host, PlacesTheStandardDefaults) {
    const TemporaryFolder folder;
    configureHost([&](KIVHost& host) { host.libraryDirectory = folder / "one"; });
    EXPECT_TRUE(kiv::UserDefaults::standard().set("key", "first"));
    EXPECT_TRUE(kiv::fileExists(folder / "one/Preferences/kiv.plist"));
    configureHost([&](KIVHost& host) {
        host.libraryDirectory = folder / "two";
        host.bundleIdentifier = "app";
    });
    EXPECT_FALSE(kiv::UserDefaults::standard().string("key"));
    EXPECT_TRUE(kiv::UserDefaults::standard().set("key", "second"));
    EXPECT_TRUE(kiv::fileExists(folder / "two/Preferences/app.plist"));
}

TEST_F(Host, TellsOfTheReturnToTheForeground) {
    configureHost([](KIVHost& host) { host.bundleIdentifier = "app"; });
    std::optional<std::string> identifier;
    const auto token = kiv::NotificationCenter::defaultCenter().addObserver(
        "KIVApplicationWillEnterForegroundNotification", [&](const kiv::Notification& notification) {
            identifier = notification.object<KIVHost>()->bundleIdentifier;
        });
    KIVHost::applicationWillEnterForeground();
    EXPECT_EQ(identifier, "app");
    kiv::NotificationCenter::defaultCenter().removeObserver(token);
}

TEST_F(Host, MayBeConfiguredWhileOthersRead) {
    const auto read = [] { EXPECT_EQ(KIVHost::current()->idiom, "unspecified"); };
    besideThreads(1, read, [] {
        for (int i = 0; i < 50; ++i) {
            configureHost([&](KIVHost& host) { host.shortVersion = std::to_string(i); });
        }
    });
}

TEST(Clock, IsTheSystemsUntilAnotherIsInstalled) {
    const kiv::Clock& system = kiv::Clock::current();
    EXPECT_LT(std::chrono::abs(system.now() - std::chrono::system_clock::now()), std::chrono::minutes(1));
    const ManualClock& clock = ManualClock::install();
    EXPECT_EQ(&kiv::Clock::current(), &clock);
    ManualClock::install();
    EXPECT_NE(system.now(), clock.now()) << "a clock that was in use is gone";
}

} // namespace
