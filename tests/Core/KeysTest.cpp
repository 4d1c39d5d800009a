#include <atomic>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>

#include <kiv/kiv.h>

#include "Model/StoredKey.h"
#include "Platform/System/Files.h"
#include "Support/CapturedLog.h"
#include "Support/Payload.h"
#include "Support/Signing.h"
#include "Support/SilentServer.h"
#include "Support/Threads.h"

namespace {

const std::string first = "5e0bd1f2c3a4b5d6e7f80901";
const std::string second = "5e0bd1f2c3a4b5d6e7f80902";
const std::string third = "5e0bd1f2c3a4b5d6e7f80903";
const std::string uuidKey = "0aC4f5e6-1111-2222-3333-0123456789ab";

struct StoreFlags : KIVBaseContainer {
    KIVString color{"blue"};
    KIVString kept{"blue", {}, KIVFreezeUntilUnfreeze};
    KIV_CONTAINER(StoreFlags, color, kept);
};

/// Setups of several keys in one process, each with an embedded document and a network that never answers.
class Keys : public testing::Test {
protected:
    Keys() { KIVCore::register_("store", flags); }
    ~Keys() override { KIVCore::reset(); }

    /// Options with an embedded document for the key's application, which gives the flags of the store, and
    /// those of the namespace "late", the colour.
    KIVOptions options(const std::string& key, const std::string& color, bool isSigned = true) {
        kiv::json::array experiments;
        for (const char* flag : {"store.color", "store.kept", "late.color", "late.kept"}) {
            experiments.push_back(makeExperiment(flag, '"' + color + '"'));
        }
        const std::string payload = makePayload(key, experiments);
        const std::string path = *KIVHost::current()->libraryDirectory + "/" + color + ".json";
        kiv::writeFile(path, isSigned ? signer.sign(payload)
                                      : kiv::compactJson(kiv::json::object{{"data", payload}}));
        KIVOptions all;
        all.verbose = 1;
        all.customSigningCertificate = signer.certificateBase64;
        all.defaultConfigurationPath = path;
        all.networkConfigurations = KIVNetworkConfigurationsOptions{.getConfigCloudEndpoint = network.url()};
        return all;
    }

    CapturedLog log;
    const std::shared_ptr<StoreFlags> flags = std::make_shared<StoreFlags>();
    const Signer signer = makeSigner();
    SilentServer network;
};

TEST_F(Keys, AStoredKeyServesAllFlagsAgainAfterAShutdown) {
    kiv::storeSDKKey(first);
    KIVCore::setupWithKey(first, options(first, "red"));
    EXPECT_EQ(flags->color.value(), "red");
    KIVCore::setupWithKey(second, options(first, "green"));
    const auto late = std::make_shared<StoreFlags>();
    KIVCore::register_("late", late);
    KIVCore::shutdown();
    KIVCore::setupWithKey(third, options(first, "yellow"));
    EXPECT_EQ(flags->color.value(), "yellow");
    EXPECT_EQ(late->color.value(), "yellow") << "registered while another key was current";
    KIVCore::overrides()->setOverride("white", flags->color);
    EXPECT_EQ(flags->color.value(), "white");
    const auto screen = KIVCore::flagsViewController();
    screen->viewDidLoad();
    EXPECT_EQ(screen->numberOfSectionsInTableView(), 2U);
}

TEST_F(Keys, AMalformedKeyLeavesTheFlagsToTheNext) {
    kiv::storeSDKKey(first);
    KIVCore::setupWithKey(first, options(first, "red"));
    EXPECT_THROW(KIVCore::setupWithKey("no key"), KIVException);
    KIVCore::setupWithKey(second, options(first, "green"));
    EXPECT_EQ(KIVCore::state(), 2U);
    EXPECT_EQ(flags->color.value(), "green");
    EXPECT_EQ(flags->color.name(), "store.color");
}

TEST_F(Keys, TheKeyThatIsServedDecidesWhetherDocumentsAreSigned) {
    kiv::storeSDKKey(first);
    KIVCore::setupWithKey(uuidKey, options(first, "red", false));
    EXPECT_EQ(flags->color.value(), "blue") << "an unsigned document for a key whose documents are signed";
    KIVCore::shutdown();
    kiv::storeSDKKey(uuidKey);
    KIVCore::setupWithKey(second, options(uuidKey, "green", false));
    EXPECT_EQ(flags->color.value(), "green");
}

TEST_F(Keys, AnotherKeyThawsWhatTheFirstFroze) {
    KIVOptions all = options(first, "red");
    all.defaultFreezeLevel = KIVFreezeUntilUnfreeze;
    KIVCore::setupWithKey(first, all);
    EXPECT_EQ(flags->color.value(), "red");
    EXPECT_TRUE(flags->color.isFreezed());
    all = options(second, "green");
    all.defaultFreezeLevel = KIVFreezeForever;
    KIVCore::setupWithKey(second, all);
    EXPECT_EQ(flags->color.value(), "green");
    all = options(third, "yellow");
    all.defaultFreezeLevel = KIVFreezeForever;
    KIVCore::setupWithKey(third, all);
    EXPECT_EQ(flags->color.value(), "green") << "frozen until the process ends";
    EXPECT_EQ(flags->kept.value(), "yellow");
}

TEST_F(Keys, TheForegroundThawsItsOwnLevelAlone) {
    const auto shown =
        std::make_shared<KIVString>("blue", std::vector<KIVNullableString>(), KIVFreezeUntilForeground);
    KIVCore::setVariant(shown, "store.shown");
    KIVCore::setupWithKey(first, options(first, "red"));
    EXPECT_EQ(flags->kept.value(), "red");
    EXPECT_EQ(shown->value(), "blue");
    EXPECT_TRUE(shown->isFreezed());
    KIVHost::applicationWillEnterForeground();
    EXPECT_TRUE(flags->kept.isFreezed());
    EXPECT_FALSE(shown->isFreezed());
}

TEST_F(Keys, AShutdownDuringSetupIsTheState) {
    KIVOptions all = options(first, "red");
    all.onConfigurationFetched = [](const KIVFetcherResult&) { KIVCore::shutdown(); };
    KIVCore::setupWithKey(first, all);
    EXPECT_EQ(KIVCore::state(), 0U);
    KIVCore::setupWithKey(second, options(second, "green"));
    EXPECT_EQ(KIVCore::state(), 2U);
    EXPECT_EQ(flags->color.value(), "green");
}

/// Sets the second key up from an observer that hears of `property` in the middle of the first key's setup.
class NestedSetup : public Keys, public testing::WithParamInterface<const char*> {};

TEST_P(NestedSetup, LeavesKeyAndClientTogether) {
    bool isNested = false;
    const auto token = kiv::NotificationCenter::defaultCenter().addObserver(
        std::string(KIVC_customPropertyAddedNotification), [&](const kiv::Notification& added) {
            const auto* property = added.object<std::shared_ptr<const KIVCustomProperty>>();
            if (property && (*property)->name() == GetParam() && !std::exchange(isNested, true)) {
                KIVCore::setupWithKey(second, options(second, "green"));
            }
        });
    KIVCore::setupWithKey(first, options(first, "red"));
    kiv::NotificationCenter::defaultCenter().removeObserver(token);
    ASSERT_TRUE(isNested);
    EXPECT_EQ(KIVCore::state(), 2U);
    EXPECT_EQ(flags->color.value(), KIVCore::currentSDKKey() == first ? "red" : "green");
    EXPECT_EQ(KIVCore::variantWithKey("store.color").get(), &flags->color);
    KIVCore::overrides()->setOverride("white", flags->color);
    EXPECT_EQ(flags->color.value(), "white");
}

INSTANTIATE_TEST_SUITE_P(Observer, NestedSetup, testing::Values("kiv.platform", "kiv.internal.appKey"));

TEST_F(Keys, ANewFlagHasItsExperimentWhenItIsFirstSeen) {
    std::vector<std::string> seen;
    const auto token = kiv::NotificationCenter::defaultCenter().addObserver(
        std::string(KIVFlagAddedNotification), [&](const kiv::Notification& added) {
            if (const auto* flag = added.object<std::shared_ptr<KIVString>>()) {
                seen.push_back((*flag)->value());
            }
        });
    KIVOptions all = options(first, "red");
    all.defaultFreezeLevel = KIVFreezeForever;
    KIVCore::setupWithKey(first, all);
    const auto late = std::make_shared<StoreFlags>();
    KIVCore::register_("late", late);
    EXPECT_EQ(seen, (std::vector<std::string>{"red", "red"}));
    EXPECT_EQ(late->color.value(), "red");
    kiv::NotificationCenter::defaultCenter().removeObserver(token);

    // Threads that read a new name at once get one flag, with its experiment.
    for (int round = 0; round < 200; ++round) {
        const std::string name = "dynamic" + std::to_string(round);
        std::atomic<int> defaults = 0;
        KIVCore::setVariant(std::make_shared<KIVString>("unused"), "variant" + std::to_string(round));
        onThreads(4, [&](int) {
            defaults += KIVCore::dynamicAPI()->getValue("late.color", "none") != "red";
            KIVCore::dynamicAPI()->getValue(name, "none");
        });
        ASSERT_EQ(defaults, 0);
    }
}

TEST_F(Keys, TheOwnNameOfAFlagFindsItsExperiment) {
    // The document has experiments for "late" and none for "other": registered in either order.
    const auto once = std::make_shared<StoreFlags>();
    KIVCore::register_("late", once);
    KIVCore::register_("other", once);
    const auto twice = std::make_shared<StoreFlags>();
    KIVCore::register_("another", twice);
    KIVCore::setupWithKey(first, options(first, "red"));
    KIVCore::setVariant(KIVCore::variantWithKey("another.color"), "store.kept");
    EXPECT_EQ(once->color.value(), "red");
    EXPECT_EQ(twice->color.value(), "blue");
    KIVCore::setupWithKey(second, options(second, "green"));
    EXPECT_EQ(once->color.value(), "green");
    EXPECT_EQ(twice->color.value(), "blue");
}

TEST_F(Keys, TheDebugLogReadsNoFlag) {
    std::atomic<int> asked = 0;
    KIVCore::setCustomComputedStringProperty(
        [&](std::string_view, const KIVDynamicPropertyContext&) {
            ++asked;
            return std::optional<std::string>("x");
        },
        "asked");
    KIVOptions all = options(first, "red");
    kiv::writeFile(*all.defaultConfigurationPath,
                   signer.sign(makePayload(first, {makeExperiment("store.color", R"(property("asked"))")})));
    KIVCore::setupWithKey(first, all);
    EXPECT_EQ(flags->color.value(), "x");
    EXPECT_EQ(asked, 1);
    KIVCore::setCustomStringProperty("y", "another");
    KIVCore::register_("late", std::make_shared<StoreFlags>());
    KIVCore::switchToSDKKey(first);
    EXPECT_EQ(asked, 1);
}

TEST_F(Keys, AThreadThatEndsWhileAFlagFreezesLeavesItToTheNextRead) {
    std::atomic<bool> ends = true;
    KIVCore::setCustomComputedStringProperty(
        [&](std::string_view, const KIVDynamicPropertyContext&) {
            if (ends) {
                ::pthread_exit(nullptr);
            }
            return std::optional<std::string>("x");
        },
        "ends");
    KIVOptions all = options(first, "red");
    kiv::writeFile(*all.defaultConfigurationPath,
                   signer.sign(makePayload(first, {makeExperiment("store.kept", R"(property("ends"))")})));
    KIVCore::setupWithKey(first, all);
    std::thread([&] { flags->kept.value(); }).join();
    EXPECT_FALSE(flags->kept.isFreezed());
    ends = false;
    EXPECT_EQ(flags->kept.value(), "x");
    EXPECT_TRUE(flags->kept.isFreezed());
    KIVCore::setCustomStringProperty("y", "ends");
    EXPECT_EQ(flags->kept.value(), "x");
}

} // namespace
