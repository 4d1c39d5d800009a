#include "Platform/System/Files.h"

#include <atomic>
#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "Platform/Host/UserDefaults.h"
#include "Support/TemporaryFolder.h"
#include "Support/Threads.h"

namespace {

namespace fs = std::filesystem;

class Files : public testing::Test {
protected:
    std::string path(const std::string& name) const { return folder_ / name; }

    static mode_t mode(const std::string& path) {
        struct stat status = {};
        stat(path.c_str(), &status);
        return status.st_mode & 0777U;
    }

    static long entries(const std::string& path) {
        return std::distance(fs::directory_iterator(path), fs::directory_iterator());
    }

private:
    const TemporaryFolder folder_;
};

TEST_F(Files, AreWrittenWholeForTheUserAlone) {
    const std::string file = path(std::string("a/b/").append(255, 'n'));
    std::string bytes("\0\xFF", 2);
    bytes.append(100'000, 'x');
    ASSERT_TRUE(kiv::writeFile(file, "old"));
    ASSERT_TRUE(kiv::writeFile(file, bytes));
    EXPECT_FALSE(kiv::createFile(file, "another")) << "it is there";
    EXPECT_TRUE(kiv::createFile(path("a/new"), bytes));
    for (const std::string& each : {file, path("a/new")}) {
        EXPECT_EQ(kiv::readFile(each), bytes);
        EXPECT_EQ(mode(each), 0600U);
    }
    EXPECT_EQ(mode(path("a")), 0700U);
    EXPECT_EQ(mode(path("a/b")), 0700U);
    EXPECT_EQ(entries(path("a/b")), 1) << "a temporary is left";
    EXPECT_EQ(entries(path("a")), 2) << "a temporary is left";
    EXPECT_FALSE(kiv::readFile(file, bytes.size() - 1));
    EXPECT_TRUE(kiv::readFile(file, bytes.size()));
    EXPECT_TRUE(kiv::removeFile(file));
    EXPECT_FALSE(kiv::fileExists(file));
    EXPECT_TRUE(kiv::removeFile(file));
}

TEST_F(Files, StayAsTheyWereWhenThereIsNoRoom) {
    const std::string file = path("file");
    ASSERT_TRUE(kiv::writeFile(file, "old"));
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit present{};
    getrlimit(RLIMIT_FSIZE, &present);
    const rlimit little{10'000, present.rlim_max};
    setrlimit(RLIMIT_FSIZE, &little);
    EXPECT_FALSE(kiv::writeFile(file, std::string(100'000, 'x')));
    EXPECT_FALSE(kiv::createFile(path("new"), std::string(100'000, 'x')));
    setrlimit(RLIMIT_FSIZE, &present);
    EXPECT_EQ(kiv::readFile(file), "old");
    EXPECT_EQ(entries(path("")), 1) << "a temporary is left";
}

TEST_F(Files, FailWithoutHarm) {
    ASSERT_TRUE(kiv::writeFile(path("file"), ""));
    EXPECT_EQ(kiv::readFile(path("file")), "");
    EXPECT_FALSE(kiv::writeFile(path("file/below"), "x"));
    ASSERT_TRUE(kiv::makeDirectories(path("folder/with/content")));
    EXPECT_FALSE(kiv::writeFile(path("folder"), "x"));
    EXPECT_FALSE(kiv::removeFile(path("folder")));
    EXPECT_FALSE(kiv::fileExists(path("folder")));
    EXPECT_FALSE(kiv::readFile(path("folder")));
    EXPECT_FALSE(kiv::readFile(path("none")));
    EXPECT_EQ(entries(path("")), 2) << "a temporary is left";
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(kiv::readFile(path("pipe"))) << "and does not wait for a writer";
    EXPECT_GT(kiv::readFile("/proc/self/status").value().size(), 100U) << "a file that reports no size";
}

TEST_F(Files, HoldOneWritersBytesWhenManyWrite) {
    const std::string file = path("shared/file");
    ASSERT_TRUE(kiv::writeFile(file, std::string(5000, 'a')));
    const auto read = [&] {
        const std::string bytes = kiv::readFile(file).value();
        ASSERT_EQ(bytes, std::string(5000, bytes.at(0)));
    };
    const auto write = [&](int number) {
        for (int i = 0; i < 20; ++i) {
            EXPECT_TRUE(kiv::writeFile(file, std::string(5000, "abc"[number])));
        }
    };
    besideThreads(1, read, [&] { onThreads(3, write); });
    EXPECT_EQ(entries(path("shared")), 1);
}

TEST_F(Files, KeepUserDefaults) {
    const std::string file = path("Preferences/app.plist");
    kiv::UserDefaults defaults(file);
    kiv::UserDefaults another(file);
    EXPECT_FALSE(defaults.string("key"));
    EXPECT_TRUE(defaults.set("key", "one"));
    EXPECT_EQ(another.string("key"), "one");
    EXPECT_TRUE(another.set("other", kiv::json::array{1, true}));
    EXPECT_EQ(another.string("other"), std::nullopt);
    EXPECT_TRUE(defaults.set("key", "two"));
    EXPECT_EQ(another.string("key"), "two");
    EXPECT_EQ(defaults.object("other"), kiv::json::value({1, true})) << "one writer undid the other";
    EXPECT_TRUE(another.remove("key"));
    EXPECT_FALSE(defaults.string("key"));

    ASSERT_TRUE(kiv::writeFile(file, "damaged"));
    EXPECT_TRUE(defaults.object("other").is_null());
    EXPECT_TRUE(defaults.set("key", "again"));
    EXPECT_EQ(another.string("key"), "again");
}

TEST_F(Files, UserDefaultsHoldInMemoryWhenTheyCannotBeWritten) {
    ASSERT_TRUE(kiv::writeFile(path("Preferences"), "in the way of the folder"));
    fs::current_path(path("")); // where a temporary without a folder would go
    for (const std::string& file : {path("Preferences/app.plist"), std::string()}) {
        kiv::UserDefaults defaults(file);
        EXPECT_FALSE(defaults.set("key", "value"));
        EXPECT_EQ(defaults.string("key"), "value");
    }
    EXPECT_EQ(entries(path("")), 1);
    fs::current_path("/");
}

} // namespace
