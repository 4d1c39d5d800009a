#include <gtest/gtest.h>

#include <kiv/KIVHost.h>

#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/System/Files.h"
#include "Runtime/KIVAppVersionMonitor.h"
#include "Runtime/KIVDebugger.h"
#include "Runtime/KIVVendorJSONSerializationNullRemover.h"
#include "Support/Threads.h"

namespace {

bool isNewVersion(const char* version) {
    KIVHost host;
    host.shortVersion = version;
    KIVHost::configure(host);
    return KIVAppVersionMonitor(KIVDataPersistency()).isNewVersion();
}

TEST(VersionMonitor, TellsAChangedVersionOnce) {
    EXPECT_TRUE(isNewVersion("1.0"));
    EXPECT_FALSE(isNewVersion("1.0"));
    EXPECT_TRUE(isNewVersion("1.1"));
    EXPECT_FALSE(isNewVersion("1.1"));
    const std::string path = KIVDataPersistency().filePathFromFileName("KIVAppVersionMonitorData");
    ASSERT_TRUE(kiv::writeFile(path, "damaged"));
    EXPECT_TRUE(isNewVersion("1.1")) << "a damaged record counts as no record";
    const auto record = kiv::readPropertyList(path);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->at("bundleShortVersion").as_string(), "1.1");
    EXPECT_EQ(record->at("formatVersion_majorNumber").as_int64(), 0);
}

/// A record of version 1.1 that notes how it was made.
struct Record : KIVPersistedObject {
    explicit Record(std::string text, KIVFormatVersion its = {1, 1})
        : origin(std::move(text)), version(its) {}
    KIVFormatVersion formatVersion() const override { return version; }
    std::unique_ptr<KIVPersistedObject> copyWithUpgradeToCurrentFormatOnMinorNumberChange() const override {
        return std::make_unique<Record>("upgraded");
    }
    kiv::json::object encode() const override {
        kiv::json::object archive;
        encodeFormatVersion(version, archive);
        return archive;
    }
    std::string origin;
    KIVFormatVersion version;
};

struct Factory : KIVPersistedObjectFactory {
    KIVFormatVersion formatVersion() const override { return {1, 1}; }
    std::unique_ptr<KIVPersistedObject> createDefaultDataPersistencyObject() const override {
        return std::make_unique<Record>("default");
    }
    std::unique_ptr<KIVPersistedObject> decode(kiv::json::object archive) const override {
        const auto version = decodeFormatVersion(archive);
        return version ? std::make_unique<Record>("stored", *version) : nullptr;
    }
};

TEST(Persistency, TakesRecordsByTheirVersion) {
    const KIVDataPersistency persistency;
    const struct {
        KIVFormatVersion version;
        const char* origin;
    } cases[] = {{{1, 1}, "stored"},
                 {{0, 9}, "default"},
                 {{1, 0}, "upgraded"},
                 {{2, 1}, "stored"},
                 {{1, 7}, "stored"}};
    for (const auto& each : cases) {
        ASSERT_TRUE(persistency.saveObject(Record("", each.version), "record"));
        const auto loaded = persistency.loadObjectFromFileWithName("record", Factory());
        EXPECT_EQ(static_cast<Record&>(*loaded).origin, each.origin)
            << each.version.major << '.' << each.version.minor;
    }
    ASSERT_TRUE(kiv::writePropertyList(persistency.filePathFromFileName("record"), {{"something", "else"}}));
    EXPECT_EQ(static_cast<Record&>(*persistency.loadObjectFromFileWithName("record", Factory())).origin,
              "default");
    EXPECT_EQ(static_cast<Record&>(*persistency.loadObjectFromFileWithName("none", Factory())).origin,
              "default");
}

TEST(NullRemover, DropsNullsWhereItIsTold) {
    const char* text = R"({"a":null,"b":[null,1,{"c":null}],"d":{"e":null,"f":0}})";
    const auto parse = [&](bool removing, bool ignoreArrays) {
        const auto document =
            KIVVendorJSONSerializationNullRemover::JSONObjectWithData(text, nullptr, removing, ignoreArrays);
        return document ? kiv::compactJson(*document) : "no document";
    };
    EXPECT_EQ(parse(false, false), text);
    EXPECT_EQ(parse(true, false), R"({"b":[1,{}],"d":{"f":0}})");
    EXPECT_EQ(parse(true, true), R"({"b":[null,1,{"c":null}],"d":{"f":0}})");
    // Empty arrays share one object: the thread sanitizer sees whether anybody writes to it.
    onThreads(2, [](int) {
        for (int i = 0; i < 1000; ++i) {
            KIVVendorJSONSerializationNullRemover::JSONObjectWithData(R"({"x":[]})", nullptr, true, false);
        }
    });
    std::string error;
    EXPECT_FALSE(KIVVendorJSONSerializationNullRemover::JSONObjectWithData("[1,", &error, true, false));
    EXPECT_FALSE(error.empty());
}

TEST(DebugLog, WritesOnlyWhatItIsToldTo) {
    std::vector<std::string> lines;
    KIVHost host;
    host.logSink = [&](const std::string& line) { lines.push_back(line); };
    KIVHost::configure(host);
    KIV_DEBUG_LOG("silent %@", 1);
    EXPECT_TRUE(lines.empty());
    kivDebuggerVerbose = true;
    const int line = __LINE__ + 1;
    KIV_DEBUG_LOG("%@ and %ld of %d%%", "text", 3L, true);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0], "KIV SDK(build 588):KIVDataPersistencyTest.cpp:TestBody:" + std::to_string(line) +
                            " - text and 3 of 1%%");
    setKivDebuggerDisableByFile({"KIVDataPersistencyTest.cpp"});
    KIV_DEBUG_LOG("silent again");
    EXPECT_EQ(lines.size(), 1U);
    kiv::plainLog("plain");
    EXPECT_EQ(lines.back(), "plain");
}

} // namespace
