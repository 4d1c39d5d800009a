#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Analytics/KIVSEGAES256Crypto.h"
#include "Analytics/KIVSEGFileStorage.h"
#include "Analytics/KIVSEGLog.h"
#include "Analytics/KIVSEGUserDefaultsStorage.h"
#include "Analytics/SEG_GZIP.h"
#include "Platform/System/Files.h"
#include "Support/CapturedLog.h"
#include "Support/Shell.h"

namespace {

using Object = kiv::json::object;
using Array = kiv::json::array;
namespace json = kiv::json;

class Storage : public testing::Test {
protected:
    Storage() { kivSegLogEnabled = true; }

    static std::string hex(std::string_view bytes) {
        std::string text;
        for (const char c : bytes) {
            char digits[3];
            std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(c) & 0xFFU);
            text += digits;
        }
        return text;
    }

    /// What every storage does, wherever it keeps its values.
    static void checkKeepsAll(KIVSEGStorage& storage) {
        EXPECT_TRUE(storage.arrayForKey("list").is_null());
        EXPECT_FALSE(storage.dataForKey("data"));
        const Array list{Object{{"event", "é👋"}, {"n", 1.5}}, "a", true};
        const std::string data("\0\xFF<x>", 5);
        storage.setArray(list, "list");
        storage.setDictionary({{"trait", "t"}}, "traits");
        storage.setString("someone", "user");
        storage.setData(data, "data");
        EXPECT_EQ(storage.arrayForKey("list"), json::value(list));
        EXPECT_EQ(storage.dictionaryForKey("traits"), json::value(Object{{"trait", "t"}}));
        EXPECT_EQ(storage.stringForKey("user"), json::value("someone"));
        EXPECT_EQ(storage.stringForKey("traits"), json::value(Object{{"trait", "t"}})) << "of any kind";
        EXPECT_EQ(storage.dataForKey("data"), data);
        storage.setString("another", "user");
        storage.removeKey("traits");
        EXPECT_EQ(storage.stringForKey("user"), json::value("another"));
        EXPECT_TRUE(storage.dictionaryForKey("traits").is_null());
    }

    const CapturedLog log;
    const std::string folder = KIVSEGFileStorage::applicationSupportDirectoryURL() + "/key";
    const std::shared_ptr<const KIVSEGCrypto> crypto =
        std::make_shared<KIVSEGAES256Crypto>("pass", "saltsalt", "0123456789abcdef");
};

TEST_F(Storage, KeepsAFileForEachKey) {
    KIVSEGFileStorage storage(folder, nullptr);
    EXPECT_TRUE(std::filesystem::is_directory(folder));
    checkKeepsAll(storage);
    EXPECT_TRUE(log.has({"WARNING: No data file for key list"}));
    EXPECT_FALSE(log.has({"Unable"}));

    storage.setArray({Object{{"event", "<é>"}}, -1}, "queue.plist");
    const std::string file = folder + "/queue.plist";
    EXPECT_EQ(storage.urlForKey("queue.plist"), file);
    EXPECT_TRUE(kiv::readFile(file)->starts_with("<?xml"));
    EXPECT_EQ(plistAsJson(file), R"([{"event": "<é>"}, -1])");
    struct stat status {};
    EXPECT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    // Either the file system marks files, and this one is marked, or the log says that it cannot.
    int marks = 0;
    const int opened = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    ioctl(opened, FS_IOC_GETFLAGS, &marks);
    close(opened);
    EXPECT_NE((marks & FS_NODUMP_FL) != 0, log.has({"Error excluding queue.plist from backup "}));

    storage.resetAll();
    EXPECT_TRUE(std::filesystem::is_empty(folder));
    EXPECT_EQ(KIVSEGFileStorage().folderURL(), KIVSEGFileStorage::applicationSupportDirectoryURL());
}

TEST_F(Storage, TakesNothingFromADamagedFile) {
    const KIVSEGFileStorage storage(folder, nullptr);
    for (const std::string bytes : {"", "{\"a\":1}", "<plist><array>", "bplist00", "\0\0\0"}) {
        ASSERT_TRUE(kiv::writeFile(storage.urlForKey("queue"), bytes));
        EXPECT_TRUE(storage.arrayForKey("queue").is_null()) << bytes;
        EXPECT_TRUE(log.has({"Unable to parse plist from data " + std::to_string(bytes.size())}));
    }
}

TEST_F(Storage, HoldsOnWithoutAFolder) {
    ASSERT_TRUE(kiv::writeFile(folder, "a file in its place"));
    for (const std::string& place : {std::string(), folder + "/below"}) {
        KIVSEGFileStorage storage(place, nullptr);
        storage.setString("x", "user");
        EXPECT_TRUE(storage.stringForKey("user").is_null());
        storage.removeKey("user");
        storage.resetAll();
    }
    EXPECT_TRUE(log.has({"error: "}));
    json::value deep = 1;
    for (int i = 0; i < 1002; ++i) {
        deep = Array{std::move(deep)};
    }
    KIVSEGFileStorage().setArray(deep.as_array(), "deep");
    EXPECT_TRUE(log.has({"Unable to serialize data from plist object"}));
    EXPECT_FALSE(kiv::fileExists(KIVSEGFileStorage().urlForKey("deep")));
}

TEST_F(Storage, EncryptsAsOthersDo) {
    KIVSEGFileStorage storage(folder, crypto);
    checkKeepsAll(storage);
    storage.setString("secret", "user");
    const std::string key = hex(KIVSEGAES256Crypto::AESKeyForPassword("pass", "saltsalt"));
    std::string derived = outputOf("openssl kdf -keylen 32 -kdfopt digest:SHA1 -kdfopt pass:pass -kdfopt "
                                   "salt:saltsalt -kdfopt iter:10000 -binary PBKDF2 | od -An -v -tx1");
    std::erase_if(derived, [](char c) { return c == ' ' || c == '\n'; });
    EXPECT_EQ(key, derived);
    EXPECT_NE(outputOf("openssl enc -d -aes-256-cbc -K " + key + " -iv " + hex("0123456789abcdef") +
                       " -in '" + storage.urlForKey("user") + "'")
                  .find("<string>secret</string>"),
              std::string::npos);

    storage.setCrypto(std::make_shared<KIVSEGAES256Crypto>("another", "saltsalt", "0123456789abcdef"));
    EXPECT_TRUE(storage.stringForKey("user").is_null());
}

TEST_F(Storage, DrawsSaltAndIvForAPassword) {
    const KIVSEGAES256Crypto first("pass");
    const KIVSEGAES256Crypto second("pass");
    EXPECT_EQ(first.salt().size(), 8U);
    EXPECT_EQ(first.iv().size(), 16U);
    for (const std::string& text : {std::string(), std::string(15, 'a'), std::string(160, 'b')}) {
        const auto encrypted = first.encrypt(text);
        ASSERT_TRUE(encrypted);
        EXPECT_EQ(encrypted->size(), (text.size() / 16 + 1) * 16);
        EXPECT_EQ(first.decrypt(*encrypted), text);
        EXPECT_EQ(KIVSEGAES256Crypto("pass", first.salt(), first.iv()).decrypt(*encrypted), text);
        EXPECT_NE(second.decrypt(*encrypted), text);
        EXPECT_FALSE(first.decrypt(encrypted->substr(1)));
    }
    EXPECT_TRUE(log.has({"Unable to decrypt data"}));
    EXPECT_FALSE(KIVSEGAES256Crypto("pass", "saltsalt", "short").encrypt("x"));
    EXPECT_TRUE(log.has({"Unable to encrypt data"}));
    EXPECT_EQ(KIVSEGAES256Crypto::randomDataOfLength(std::string::npos), "");
    EXPECT_TRUE(log.has({"Unable to generate random bytes: 0"}));
}

TEST_F(Storage, KeepsUserDefaults) {
    const std::string file = folder + "/defaults.plist";
    kiv::UserDefaults defaults(file);
    for (const auto& prefix : {std::optional<std::string>(), std::optional<std::string>("seg")}) {
        for (const auto& encryption : {std::shared_ptr<const KIVSEGCrypto>(), crypto}) {
            KIVSEGUserDefaultsStorage storage(defaults, prefix, encryption);
            defaults.set("other", 1);
            checkKeepsAll(storage);
            const std::string stored = plistAsJson(file);
            EXPECT_EQ(stored.find("\"seg.user\"") != stored.npos, prefix.has_value()) << stored;
            EXPECT_EQ(stored.find("\"another\"") == stored.npos, encryption != nullptr) << stored;
            storage.resetAll();
            EXPECT_EQ(plistAsJson(file), prefix ? R"({"other": 1})" : "{}");
        }
    }
}

TEST(Gzip, IsUndoneByItsCommand) {
    std::string text;
    for (int i = 0; i < 20'000; ++i) {
        text += std::to_string(i * i) + '\n';
    }
    const std::string file =
        std::filesystem::temp_directory_path() / ("kiv-gz-" + std::to_string(::getpid()));
    for (const float level : {-1.0F, 0.0F, 0.5F, 1.0F}) {
        const auto zipped = seg_gzippedDataWithCompressionLevel(text, level);
        ASSERT_TRUE(zipped) << level;
        EXPECT_EQ(zipped->size() > text.size(), level == 0) << level;
        ASSERT_TRUE(kiv::writeFile(file, *zipped));
        EXPECT_EQ(outputOf("gunzip -c <'" + file + "'"), text) << level;
        EXPECT_EQ(seg_gzippedData(*zipped), zipped) << "zipped already";
    }
    kiv::removeFile(file);
    EXPECT_EQ(seg_gzippedData(text), seg_gzippedDataWithCompressionLevel(text, 6 / 9.0F));
    EXPECT_EQ(seg_gzippedData(""), "");
    EXPECT_FALSE(seg_gzippedDataWithCompressionLevel(text, 2));
    EXPECT_FALSE(seg_isGzippedData("\x1F"));
}

} // namespace
