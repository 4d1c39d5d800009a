#include "Reporting/KIVDeviceProperties.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include <gtest/gtest.h>

#include <kiv/KIVFlag.h>
#include <kiv/KIVInt.h>
#include <kiv/KIVNamedOperations.h>

#include "Platform/Crypto/Digest.h"
#include "Platform/System/Files.h"
#include "Reporting/KIVVersionRange.h"
#include "Support/Host.h"
#include "Support/Threads.h"

namespace {

const std::string key = "5e0bd1f2c3a4b5d6e7f80912";
const std::string uuidKey = "0f8fad5b-d9cb-469f-a165-70867728950e";

class DeviceProperties : public ::testing::Test {
protected:
    std::shared_ptr<KIVDeviceProperties>
    make(const std::string& sdkKey = key,
         const std::optional<std::string>& certificate = std::nullopt) const {
        return std::make_shared<KIVDeviceProperties>(sdkKey, certificate, properties, flags);
    }

    /// The names of the entries in a list of the state.
    static std::vector<std::string> names(const KIVDeviceProperties& device, const char* list) {
        std::vector<std::string> all;
        const auto properties = device.allProperties();
        for (const auto& entry : properties->at(list).as_array()) {
            all.emplace_back(entry.at("name").as_string());
        }
        return all;
    }

    std::shared_ptr<KIVCustomPropertiesRepository> properties =
        std::make_shared<KIVCustomPropertiesRepository>();
    std::shared_ptr<KIVFeatureFlagsRepository> flags = std::make_shared<KIVFeatureFlagsRepository>();
};

TEST_F(DeviceProperties, TellWhatTheHostKnows) {
    const std::string home = std::getenv("HOME");
    ASSERT_TRUE(kiv::writeFile(home + "/iTunesMetadata.plist", ""));
    configureHost([&](KIVHost& host) {
        host.bundleIdentifier = "org.example.app";
        host.shortVersion = "2.10";
        host.version = "2.10.7";
        host.resourceDirectory = home + "/resources";
        host.homeDirectory = home;
        host.deviceName = "Kiosk \"1\"";
        host.systemName = "Debian";
        host.systemVersion = "12";
        host.model = "M1";
        host.vendorIdentifier = "AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE";
        host.locale = "en_GB";
        host.screen = {1024, 768};
        host.idiom = "pad";
    });
    unsetenv("KIV_DEV_MODE_SECRET");
    const auto device = make(key, "certificate");
    auto all = device->getPropsCopy();
    for (const char* list : {"custom_properties", "custom_properties_string", "feature_flags",
                             "feature_flags_string", "stateMd5"}) {
        EXPECT_TRUE(all.erase(list)) << list;
    }
    const std::string certificate = kiv::md5Hex("certificate");
    const std::string buid = kiv::md5Hex("iOS|1.9.0|" + key + "|" + certificate + "|5.0.16");
    const kiv::json::object expected{
        {"realPlatform", "iOS"},
        {"platformVersion", "Objective-C"},
        {"languageVersion", "Objective-C"},
        {"platform", "iOS"},
        {"customSigningCertificate", certificate},
        {"version_name", "2.10"},
        {"app_version", "2.10.7"},
        {"app_release", "2.10"},
        {"lib_version", "5.0.16"},
        {"corvane_build", "588"},
        {"api_version", "1.9.0"},
        {"language", "en"},
        {"country", "GB"},
        {"manufacturer", "Apple"},
        {"os", "Debian"},
        {"os_version", "12"},
        {"model", "M1"},
        {"device_name", "Kiosk \"1\""},
        {"screen_height", "768"},
        {"screen_width", "1024"},
        {"distinct_id", "AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE"},
        {"itunes_plist_file_exists", "yes"},
        {"embedded_mobileprovision_file_exists", "no"},
        {"app_key", key},
        {"userInterfaceIdiom", "pad"},
        {"buid_generators_list", "platform,api_version,app_key,customSigningCertificate,lib_version"},
        {"buid", buid},
        {"cache_miss_relative_url", key + "/" + buid},
    };
    EXPECT_EQ(kiv::prettyJson(all), kiv::prettyJson(expected));
    EXPECT_EQ(device->buid(), buid);
    EXPECT_NE(make(uuidKey, "certificate")->buid(), buid);
    EXPECT_NE(make()->buid(), buid);
    kiv::json::object params{{"distinct_id", 1}, {"other", 2}};
    device->addDistinctIdToParams(params);
    EXPECT_EQ(params, (kiv::json::object{{"distinct_id", device->distinctId()}, {"other", 2}}));
    const KIVDeviceProperties wrapped(key, std::nullopt, properties, flags, "p", "l");
    EXPECT_EQ(wrapped.allProperties()->at("platformVersion").as_string(), "p");
    EXPECT_EQ(wrapped.allProperties()->at("languageVersion").as_string(), "l");
}

TEST_F(DeviceProperties, SayWhatIsMissing) {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        unsetenv(name);
    }
    const auto device = make();
    for (const char* missing : {"version_name", "app_version", "language", "country", "screen_height"}) {
        EXPECT_EQ(device->allProperties()->at(missing).as_string(), "corvane_undefined") << missing;
    }
    EXPECT_FALSE(device->allProperties()->contains("devModeSecret"));
    EXPECT_EQ(properties->customPropertyForName("kiv.screen_height")
                  ->intValue("", KIVDynamicPropertyContext::empty()),
              0);
    const std::pair<std::string, std::string> locales[] = {{"de", "de corvane_undefined"},
                                                           {"zh_Hans_CN", "zh CN"},
                                                           {"pt-BR", "pt BR"},
                                                           {"en_GB.UTF-8", "en GB"},
                                                           {"", "corvane_undefined corvane_undefined"}};
    for (const auto& each : locales) {
        configureHost([&](KIVHost& host) { host.locale = each.first; });
        const auto all = make()->allProperties();
        const std::string language(all->at("language").as_string());
        EXPECT_EQ(language + " " + std::string(all->at("country").as_string()), each.second) << each.first;
    }
}

TEST_F(DeviceProperties, AddTheBuiltInPropertiesOnce) {
    configureHost([](KIVHost& host) {
        host.shortVersion = "1.2";
        host.screen = {640, 480};
    });
    properties->addCustomProperty(KIVCustomProperty::withStringValue("kiv.model", "mine"));
    make();
    make(uuidKey);
    const std::pair<std::string, std::string> expected[] = {
        {"kiv.platform", "string"},    {"kiv.os_version", "semver"}, {"kiv.app_release", "semver"},
        {"kiv.country", "string"},     {"kiv.language", "string"},   {"kiv.model", "string"},
        {"kiv.distinct_id", "string"}, {"kiv.screen_height", "int"}, {"kiv.screen_width", "int"},
    };
    EXPECT_EQ(properties->availableCustomProperties().size(), std::size(expected));
    for (const auto& [name, type] : expected) {
        const auto property = properties->customPropertyForName(name);
        ASSERT_TRUE(property) << name;
        EXPECT_EQ(property->type(), type) << name;
        EXPECT_EQ(property->isKivProperty(), name != "kiv.model") << name;
    }
    EXPECT_EQ(*properties->customPropertyForName("kiv.model")->fixedText(), "mine");
    EXPECT_EQ(*properties->customPropertyForName("kiv.app_release")->fixedText(), "1.2");
    EXPECT_EQ(properties->customPropertyForName("kiv.screen_width")
                  ->intValue("", KIVDynamicPropertyContext::empty()),
              640);
}

TEST_F(DeviceProperties, ListPropertiesAndFlagsWithAHashOverThem) {
    setenv("KIV_DEV_MODE_SECRET", "secret", 1);
    const auto device = make();
    const auto uuidDevice = make(uuidKey);
    properties->addCustomProperty(KIVCustomProperty::withDateTimeValue("date", KIVDate()));
    properties->addCustomProperty(KIVCustomProperty::withDoubleValue("b", 1));
    flags->addFeature(std::make_shared<KIVString>("\xF0\x9F\x92\xA1", std::vector<KIVNullableString>{"x"}),
                      "b.two");
    flags->addFeature(std::make_shared<KIVFlag>(true), "a");

    const auto all = device->allProperties();
    EXPECT_EQ(names(*device, "custom_properties").front(), "b");
    EXPECT_EQ(all->at("custom_properties").at(0),
              (kiv::json::value{{"name", "b"}, {"type", "double"}, {"externalType", "Number"}}));
    EXPECT_EQ(names(*device, "custom_properties").size(), 10U) << "dates stay out";
    EXPECT_EQ(names(*uuidDevice, "custom_properties").size(), 11U);
    const kiv::json::value expectedFlags{
        {{"name", "a"}, {"defaultValue", "true"}, {"options", {"true", "false"}}},
        {{"name", "b.two"}, {"defaultValue", "\xF0\x9F\x92\xA1"}, {"options", {"x", "\xF0\x9F\x92\xA1"}}}};
    EXPECT_EQ(kiv::prettyJson(all->at("feature_flags")), kiv::prettyJson(expectedFlags));
    for (const std::string list : {"custom_properties", "feature_flags"}) {
        EXPECT_EQ(all->at(list + "_string").as_string(), kiv::prettyJson(all->at(list)));
    }
    EXPECT_EQ(device->stateMd5(),
              kiv::md5Hex("iOS|" + key + "|" + std::string(all->at("feature_flags_string").as_string()) +
                          "|" + std::string(all->at("custom_properties_string").as_string()) + "|secret"));
}

TEST_F(DeviceProperties, AreBuiltAgainOnlyAfterAChange) {
    const auto device = make();
    const auto before = device->allProperties();
    const std::string hash = device->stateMd5();
    EXPECT_EQ(device->allProperties(), before);
    properties->addCustomProperty(KIVCustomProperty::withIntValue("age", 1));
    const std::string withProperty = device->stateMd5();
    EXPECT_NE(withProperty, hash);
    EXPECT_EQ(before->at("stateMd5").as_string(), hash) << "what was handed out does not change";
    properties->addCustomProperty(KIVCustomProperty::withIntValue("age", 2));
    EXPECT_EQ(device->stateMd5(), withProperty);
    flags->addFeature(std::make_shared<KIVInt>(1), "flag");
    EXPECT_NE(device->stateMd5(), withProperty);
    flags->clear();
    EXPECT_EQ(device->stateMd5(), withProperty);
}

TEST_F(DeviceProperties, AreFreshForWhoeverAsksAfterAChangeOnAnyThread) {
    const auto device = make();
    onThreads(3, [&](int thread) {
        for (int i = 0; i < 40; ++i) {
            const std::string name = std::to_string(thread) + "." + std::to_string(i);
            flags->addFeature(std::make_shared<KIVInt>(1), name);
            const auto all = names(*device, "feature_flags");
            EXPECT_NE(std::find(all.begin(), all.end(), name), all.end()) << name;
        }
    });
    EXPECT_EQ(names(*device, "feature_flags").size(), 120U);
}

TEST_F(DeviceProperties, AskTheWrapperForItsVersion) {
    EXPECT_EQ(make()->swiftVersion(), "");
    const auto answer = [this](KIVNamedOperations::ClassOperation operation) {
        KIVNamedOperations::shared().addClassOperation("CorvaneSwiftIncludedClass", "CORVANE_swiftVersion",
                                                       std::move(operation));
        return make()->swiftVersion();
    };
    EXPECT_EQ(answer([] { return std::any(std::string("5.9")); }), "5.9");
    EXPECT_EQ(answer([] { return std::any(5.9); }), "");
    EXPECT_EQ(answer([]() -> std::any { throw 1; }), "");
}

TEST_F(DeviceProperties, DecideVersionRanges) {
    configureHost([](KIVHost& host) { host.shortVersion = "1.10"; });
    const auto device = make();
    EXPECT_TRUE(KIVVersionRange("1.010", "Equals to").isApplicableForDevice(*device));
    EXPECT_FALSE(KIVVersionRange("1.10.0", "Equals to").isApplicableForDevice(*device));
    EXPECT_FALSE(KIVVersionRange("1.10", "equals to").isApplicableForDevice(*device));
}

} // namespace
