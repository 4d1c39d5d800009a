#include <atomic>
#include <functional>

#include <gtest/gtest.h>
#include <pthread.h>

#include <kiv/kiv.h>

#include "Flags/KIVFeatureFlagsRepository.h"
#include "Platform/Host/UserDefaults.h"
#include "Platform/System/Files.h"
#include "Properties/KIVCustomPropertiesRepository.h"
#include "Support/CapturedLog.h"
#include "Support/Host.h"
#include "Support/Signing.h"
#include "Support/SilentServer.h"
#include "Support/Threads.h"

namespace {

const std::string key = "5e0bd1f2c3a4b5d6e7f80912";
const std::string otherKey = "5E0BD1F2C3A4B5D6E7F80913";
const std::string uuidKey = "0aC4f5e6-1111-2222-3333-0123456789ab";

struct StoreFlags : KIVBaseContainer {
    KIVFlag open{false};
    KIVString color{"blue", {"blue", "green"}};
    KIVInt retries{3};
    KIVDouble discount{0.0};
    KIV_CONTAINER(StoreFlags, open, color, retries, discount);
};

std::string payload(const std::string& application, const std::string& color = "green") {
    return R"j({"application":")j" + application + R"j(","experiments":[
        {"_id":"1","name":"open","deploymentConfiguration":{"condition":"true"},"featureFlags":[{"name":"store.open"}]},
        {"_id":"2","name":"color","deploymentConfiguration":{"condition":"\")j" +
           color + R"j(\""},"featureFlags":[{"name":"store.color"},{"name":"late.color"}]},
        {"_id":"3","name":"retries","deploymentConfiguration":{"condition":"ifThen(gte(2, 1), 7, 1)"},
         "featureFlags":[{"name":"store.retries"},{"name":null},{}]},
        {"_id":"4","name":"nothing","featureFlags":[{"name":"store.discount"}]}],
        "targetGroups":null})j";
}

class Setup : public ::testing::Test {
protected:
    Setup() { KIVCore::register_("store", flags); }
    ~Setup() override { KIVCore::shutdown(); }

    KIVOptions options(const std::string& document) {
        kiv::writeFile(path, document);
        KIVOptions all;
        all.verbose = 1;
        all.customSigningCertificate = signer.certificateBase64;
        all.defaultConfigurationPath = path;
        all.networkConfigurations = KIVNetworkConfigurationsOptions{.getConfigCloudEndpoint = network.url()};
        all.onConfigurationFetched = [this](const KIVFetcherResult& result) { results.push_back(result); };
        return all;
    }

    void expectDefaults() const {
        EXPECT_FALSE(flags->open.isEnabled());
        EXPECT_EQ(flags->color.value(), "blue");
        EXPECT_EQ(flags->retries.value(), 3);
        EXPECT_EQ(flags->discount.value(), 0.0);
    }

    static std::string nameOfFailure(KIVNullableString wrongKey) {
        try {
            KIVCore::setupWithKey(wrongKey);
            return "";
        } catch (const KIVException& exception) {
            return exception.name() + "/" + exception.reason();
        }
    }

    CapturedLog log;
    std::shared_ptr<StoreFlags> flags = std::make_shared<StoreFlags>();
    Signer signer = makeSigner();
    const std::string path = *KIVHost::current()->libraryDirectory + "/configuration.json";
    std::vector<KIVFetcherResult> results;
    SilentServer network; ///< never answers, so no fetch ends while a test runs
};

TEST_F(Setup, ServesASignedEmbeddedDocument) {
    KIVOptions all = options(signer.sign(payload(key)));
    unsigned stateInHandler = 99;
    all.onConfigurationFetched = [&](const KIVFetcherResult& result) {
        results.push_back(result);
        stateInHandler = KIVCore::state();
        EXPECT_TRUE(flags->open.isEnabled()) << "applied before the handler runs";
        KIVCore::unfreeze();
    };
    KIVCore::setupWithKey(key, all);
    ASSERT_EQ(results.size(), 1U) << "called before setup returns";
    EXPECT_EQ(results[0].fetcherStatus, 1);
    EXPECT_EQ(results[0].errorDetails, std::nullopt);
    EXPECT_TRUE(results[0].hasChanges);
    EXPECT_EQ(stateInHandler, 2U);
    EXPECT_EQ(flags->color.value(), "green");
    EXPECT_EQ(flags->retries.value(), 7);
    EXPECT_EQ(flags->discount.value(), 0.0);

    struct Late : KIVBaseContainer {
        KIVString color{"blue"};
        KIV_CONTAINER(Late, color);
    };
    const auto late = std::make_shared<Late>();
    EXPECT_EQ(late->color.value(), "blue");
    KIVCore::register_("late", late);
    EXPECT_EQ(late->color.value(), "green") << "registering after a document takes effect at once";
    EXPECT_EQ(KIVCore::flags().size(), 5U);

    KIVCore::setupWithKey(key, options(signer.sign(payload(key, "red"))));
    EXPECT_EQ(flags->color.value(), "green") << "a key is set up once";
    EXPECT_TRUE(log.has({"KIV SDK key " + key + " was already initialized, skipping Setup"}));
}

TEST_F(Setup, RefusesWhatIsNotAGenuineDocumentOfItsApplication) {
    const std::string good = signer.sign(payload(key));
    std::string tampered = good;
    tampered.replace(tampered.find("green"), 5, "grown");
    std::string unsignedDocument = good;
    unsignedDocument.replace(unsignedDocument.find("signature_v0"), 12, "signature_v9");
    const struct {
        std::string key; ///< another one for each case, because a key is set up only once
        std::string document;
        const char* line; ///< part of the line that the log must have
    } cases[] = {
        {"a00000000000000000000001", tampered, "KIVNetwork_signatureWasNotVerified"},
        {"a00000000000000000000002", unsignedDocument, "KIVNetwork_signatureWasNotVerified"},
        {"a00000000000000000000003", makeSigner().sign(payload("a00000000000000000000003")),
         "KIVNetwork_signatureWasNotVerified"},
        {"a00000000000000000000004", signer.sign("{nonsense"), "KIVNetwork_jsonParsing"},
        {"a00000000000000000000005", good, "Error: recognizeJson, missmatched appKey. expected: "},
        {"a00000000000000000000006", good.substr(0, good.size() / 2), "configuration.json"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.key);
        log.clear();
        KIVCore::setupWithKey(one.key, options(one.document));
        EXPECT_EQ(KIVCore::state(), 2U);
        expectDefaults();
        EXPECT_TRUE(log.has({one.line}));
    }
}

TEST_F(Setup, RefusesAMalformedKeyAndRecovers) {
    const std::string refusal = "wrong apiKey format/Please enter a valid apiKey";
    for (const char* wrong :
         {"", "5e0bd1f2", "5e0bd1f2c3a4b5d6e7f8091g", " 5e0bd1f2c3a4b5d6e7f80912",
          "5e0bd1f2c3a4b5d6e7f80912\n", "0ac4f5e6-1111-2222-3333-0123456789a",
          "0ac4f5e6-1111-2222-3333-0123456789ab\n", "0ac4f5e6-11112-222-3333-0123456789ab"}) {
        EXPECT_EQ(nameOfFailure(wrong), refusal) << wrong;
        EXPECT_EQ(KIVCore::state(), 4U);
    }
    EXPECT_EQ(nameOfFailure(nullptr), refusal);
    KIVCore::setupWithKey(key, options(signer.sign(payload(key))));
    EXPECT_EQ(KIVCore::state(), 2U);
    EXPECT_TRUE(flags->open.isEnabled());

    // A failed setup leaves the client that was there, until it is shut down or another key is set up.
    EXPECT_EQ(nameOfFailure("5e0bd1f2"), refusal);
    EXPECT_TRUE(flags->open.isEnabled());
    KIVCore::setupWithKey(otherKey, options(signer.sign(payload(otherKey, "red"))));
    EXPECT_EQ(KIVCore::state(), 2U);
    EXPECT_EQ(flags->color.value(), "red");
    EXPECT_EQ(nameOfFailure("5e0bd1f2"), refusal);
    KIVCore::shutdown();
    EXPECT_EQ(KIVCore::state(), 0U);
    EXPECT_EQ(flags->color.name(), std::nullopt);
}

TEST_F(Setup, GoesThroughItsStates) {
    EXPECT_EQ(KIVCore::state(), 0U);
    KIVCore::fetch();
    KIVCore::unfreeze();
    KIVCore::unfreezeNamespace("store");
    EXPECT_EQ(KIVCore::overrides(), nullptr);
    KIVCore::shutdown();
    EXPECT_EQ(KIVCore::state(), 0U);
    KIVCore::setupWithKey(key, options(signer.sign(payload(key))));
    EXPECT_EQ(flags->color.name(), "store.color");
    KIVCore::shutdown();
    EXPECT_EQ(KIVCore::state(), 0U);
    EXPECT_EQ(flags->color.name(), std::nullopt);
    EXPECT_EQ(KIVCore::variantWithKey("store.color"), nullptr);
    EXPECT_THROW(KIVCore::register_("store", std::make_shared<StoreFlags>()), KIVException);
    KIVCore::setupWithKey(key);
    EXPECT_EQ(KIVCore::state(), 0U) << "a key that was set up is skipped also after a shutdown";
    KIVCore::setupWithKey(otherKey, options(signer.sign(payload(otherKey, "red"))));
    EXPECT_EQ(flags->color.value(), "red") << "the shared flags come back under another key";
    EXPECT_EQ(flags->color.name(), "store.color");
}

TEST_F(Setup, OfASecondKeyReplacesTheClient) {
    KIVCore::setupWithKey(key, options(signer.sign(payload(key))));
    const auto before = KIVCore::overrides();
    KIVCore::setupWithKey(otherKey, options(signer.sign(payload(otherKey, "red"))));
    EXPECT_EQ(flags->color.value(), "red");
    EXPECT_NE(KIVCore::overrides(), before);
    before->setOverride("odd", "store.color"); // its client was replaced, so the flags must not change
    EXPECT_EQ(flags->color.value(), "red");
    KIVCore::setVariant(std::make_shared<KIVString>("x"), "of.the.second");
    EXPECT_EQ(KIVCore::flagsRepositoryForSDKKey(key)->featureWithName("of.the.second"), nullptr);
    EXPECT_NE(KIVCore::flagsRepositoryForSDKKey(otherKey)->featureWithName("of.the.second"), nullptr);
    EXPECT_EQ(KIVCore::currentSDKKey(), otherKey);
    KIVCore::switchToSDKKey(nullptr);
    KIVCore::switchToSDKKey(key);
    EXPECT_EQ(KIVCore::currentSDKKey(), key);
    EXPECT_EQ(kiv::UserDefaults::standard().string("KIV_CURRENT_SDK_KEY"), key);
}

TEST_F(Setup, OfASecondKeyEndsTheImpressionsOfTheFirst) {
    int impressions = 0;
    KIVOptions all = options(signer.sign(payload(key)));
    all.impressionHandler = [&](const auto&...) { ++impressions; };
    KIVCore::setupWithKey(key, all);
    const auto model = KIVCore::flagsViewController(); // holds what belongs to the first key
    kiv::writeFile(path, signer.sign(payload(otherKey, "red")));
    KIVCore::setupWithKey(otherKey, all);
    EXPECT_EQ(flags->color.value(), "red");
    EXPECT_EQ(impressions, 1);
    KIVCore::shutdown(); // before what the handler counts goes
}

TEST_F(Setup, WithAUuidKeyChecksNoSignature) {
    std::string envelope = signer.sign(payload(uuidKey));
    envelope.replace(envelope.find("signature_v0"), 12, "signature_v9");
    KIVCore::setupWithKey(uuidKey, options(envelope));
    EXPECT_TRUE(flags->open.isEnabled());
    EXPECT_TRUE(KIVCore::isUUIDKey(uuidKey));
    EXPECT_FALSE(KIVCore::isMongoAppKey(uuidKey));
}

TEST_F(Setup, TrustsTheBuiltInCertificate) {
    KIVOptions all = options(kiv::readFile(KIV_TEST_DATA "/builtin-signed.json").value());
    all.customSigningCertificate = std::nullopt;
    KIVCore::setupWithKey(key, all);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].fetcherStatus, 1);
    EXPECT_EQ(KIVCore::dynamicAPI()->getValue("builtin.flag", "default"), "signed");
}

TEST_F(Setup, DoesNothingWhenThisBuildIsSwitchedOff) {
    kiv::UserDefaults::standard().set("KIVC_switchedOffVersion", "588");
    KIVCore::setupWithKey(key, options(signer.sign(payload(key))));
    EXPECT_EQ(KIVCore::state(), 2U);
    EXPECT_EQ(KIVCore::overrides(), nullptr);
    EXPECT_TRUE(log.has({"Current KIV SDK version (588) was switched off for this app, please contact "}));
    expectDefaults();
}

TEST_F(Setup, KeepsSilentFilesOutOfTheLog) {
    KIVOptions all = options(signer.sign(payload(otherKey)));
    all.silentFiles = {"KIVClient.cpp"};
    KIVCore::setupWithKey(key, all);
    EXPECT_FALSE(log.has({"missmatched"}));
    EXPECT_TRUE(log.has({"KIV SDK(build 588):KIVCoreInstance.cpp:"}));
}

/// An exception without a text.
struct Silent : std::exception {
    const char* what() const noexcept override { return nullptr; }
};

TEST_F(Setup, ReportsAThrowingHandler) {
    std::pair<unsigned, std::string> error;
    KIVCore::setUserspaceUnhandledErrorHandler([&](unsigned source, const KIVException& exception) {
        error = {source, exception.reason()};
    });
    KIVOptions all = options(signer.sign(payload(key)));
    all.onConfigurationFetched = [](const KIVFetcherResult&) { throw 7; };
    KIVCore::setupWithKey(key, all);
    EXPECT_EQ(error, std::pair(1U, std::string("an exception of another type")));
    all.onConfigurationFetched = [](const KIVFetcherResult&) { throw Silent(); };
    KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80914", all);
    EXPECT_EQ(error, std::pair(1U, std::string()));
    KIVCore::setUserspaceUnhandledErrorHandler(
        [](unsigned, const KIVException&) { throw std::runtime_error("again"); });
    all.onConfigurationFetched = [](const KIVFetcherResult&) { throw std::runtime_error("first"); };
    KIVCore::setupWithKey(otherKey, all);
    EXPECT_TRUE(
        log.has({"User Unhandled Error Handler itself threw an exception: std::exception: again. original "
                 "exception: std::exception: first"}));
}

/// Runs the task on a new thread. True when a callback of the task ended the thread by calling `leave`.
bool endsEarly(std::function<void()> task) {
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    void* result = nullptr;
    return pthread_create(&thread, nullptr, run, &task) == 0 && pthread_join(thread, &result) == 0 && result;
}

void leave() {
    static char mark;
    pthread_exit(&mark);
}

TEST_F(Setup, LetsAThreadEndInACallback) {
    KIVOptions all = options(signer.sign(payload(key)));
    all.onConfigurationFetched = [](const KIVFetcherResult&) { leave(); };
    EXPECT_TRUE(endsEarly([&] { KIVCore::setupWithKey(key, all); }));

    KIVCore::setUserspaceUnhandledErrorHandler([](unsigned, const KIVException&) { leave(); });
    all.onConfigurationFetched = [](const KIVFetcherResult&) { throw Silent(); };
    EXPECT_TRUE(endsEarly([&] { KIVCore::setupWithKey(otherKey, all); }));

    auto& center = kiv::NotificationCenter::defaultCenter();
    const auto token = center.addObserver("leave", [](const auto&) { leave(); });
    EXPECT_TRUE(endsEarly([&] { center.post("leave", 1); }));
    center.removeObserver(token);

    configureHost([](KIVHost& host) { host.logSink = [](const std::string&) { leave(); }; });
    EXPECT_TRUE(endsEarly([&] { KIVCore::setupWithKey(key); }));
    KIVHost::configure({});
    all.onConfigurationFetched = nullptr;
    KIVCore::setupWithKey(uuidKey, all);
    EXPECT_EQ(KIVCore::state(), 2U) << "no lock is left behind";
}

TEST_F(Setup, ReachesOperationsByName) {
    const auto overrides = std::make_shared<KIVFlagsOverrides>(std::weak_ptr<KIVFeatureFlagsSetter>());
    overrides->setOverride("red", "store.color");
    KIVCore::run("clearOverrides", overrides);
    EXPECT_FALSE(overrides->hasOverride("store.color")) << "whatever was or was not asked for before";
    EXPECT_EQ(std::any_cast<unsigned>(KIVCore::getObjectFromClass("KIVCore", "state")), 0U);
    EXPECT_FALSE(KIVCore::getObjectFromClass("KIVCore", "nothing").has_value());
    EXPECT_FALSE(KIVCore::getObjectFromClass("Nobody", "state").has_value());
    KIVNamedOperations::shared().addInstanceOperation(typeid(unsigned), "twice", [](const std::any& number) {
        return std::any(2 * std::any_cast<unsigned>(number) + 1);
    });
    EXPECT_EQ(std::any_cast<unsigned>(KIVCore::getObjectFromClass("KIVCore", "state", "twice")), 1U);
    EXPECT_FALSE(KIVCore::run("thrice", 1U).has_value());
}

/// An object of the application whose destructor calls the library.
struct CallsOnDestruction {
    ~CallsOnDestruction() {
        KIVCore::setCustomBooleanProperty(true, "of.the.destructor");
        KIVCore::currentSDKKey();
        KIVCore::setVariant(std::make_shared<KIVFlag>(true), "of.the.destructor");
    }
};

TEST_F(Setup, LetsObjectsOfTheApplicationCallTheLibraryWhenTheyAreReleased) {
    const auto computed = [held = std::make_shared<CallsOnDestruction>()](auto, const auto&) {
        return held != nullptr;
    };
    KIVCore::setCustomComputedBooleanProperty(computed, "computed");
    KIVOptions all = options(signer.sign(payload(key)));
    all.impressionHandler = [held = std::make_shared<CallsOnDestruction>()](const KIVReportingValue& value) {
        if (value.name() == "store.open") {
            // This read still guards the first client, which is therefore destroyed later.
            KIVCore::setupWithKey(otherKey, {.networkConfigurations = KIVNetworkConfigurationsOptions()});
        }
    };
    KIVCore::setupWithKey(key, all);
    all = {};
    EXPECT_TRUE(flags->open.isEnabled());
    EXPECT_EQ(KIVCore::currentSDKKey(), otherKey);
    KIVCore::setCustomBooleanProperty(true, "computed");
    struct Late : KIVBaseContainer {
        KIVFlag flag{false};
        KIV_CONTAINER(Late, flag);
    };
    KIVCore::register_("late", std::make_shared<Late>());
    // The handler is destroyed with the first client's request, which a thread of the library cancels.
    const auto hasGone = [] {
        return KIVCore::propertiesRepository()->customPropertyForName("of.the.destructor") != nullptr;
    };
    EXPECT_TRUE(eventually(hasGone));
    EXPECT_THROW(KIVCore::setVariant(nullptr, "x"), KIVException);
}

TEST_F(Setup, OfAnotherKeyThanTheStoredOneServesTheStoredOne) {
    kiv::UserDefaults::standard().set("KIV_CURRENT_SDK_KEY", kiv::json::value(key));
    KIVOptions all = options(signer.sign(payload(key)));
    all.defaultFreezeLevel = 1;
    KIVCore::setupWithKey(otherKey, all);
    EXPECT_TRUE(flags->open.isEnabled())
        << "the client works for the key that an earlier launch made current";
    EXPECT_EQ(KIVCore::dynamicAPI()->getValue("late.color", "blue"), "green");
    for (const auto& flag : KIVCore::flags()) {
        EXPECT_EQ(flag->freezeLevel(), 1U) << flag->name().value_or("");
    }
    KIVCore::shutdown();
    EXPECT_EQ(KIVCore::flags().size(), 5U) << "the shared flags are nobody's to clear";
}

TEST_F(Setup, KeepsEverythingInMemoryWithoutALibraryFolder) {
    const KIVOptions all = options(signer.sign(payload(key)));
    KIVHost host = *KIVHost::current();
    host.libraryDirectory = "";
    KIVHost::configure(host);
    KIVCore::setupWithKey(key, all);
    EXPECT_EQ(flags->color.value(), "green");
    KIVCore::switchToSDKKey(key);
    EXPECT_EQ(kiv::UserDefaults::standard().string("KIV_CURRENT_SDK_KEY"), key);
    const auto overrides = KIVCore::overrides();
    EXPECT_EQ(overrides->pathForOverridesFile(), "") << "and not a path at the root of the file system";
    EXPECT_FALSE(overrides->cacheOverrides());
    overrides->setOverride("red", flags->color);
    EXPECT_EQ(flags->color.value(), "red");
    EXPECT_TRUE(log.has({"could not write a file: there is no Library folder"}));
}

TEST_F(Setup, SurvivesALogSinkThatThrowsOrReadsFlags) {
    const auto lines = std::make_shared<std::atomic<int>>(0); // the library's threads log on after the test
    configureHost([&](KIVHost& host) {
        host.logSink = [lines, kept = flags](const std::string&) {
            ++*lines;
            kept->open.isEnabled();
            throw 1;
        };
    });
    KIVCore::setupWithKey(key, options(signer.sign(payload(key))));
    EXPECT_TRUE(flags->open.isEnabled());
    EXPECT_GT(*lines, 0);
}

/// Several threads at once set up, register, read and shut down.
TEST_F(Setup, IsSafeFromSeveralThreads) {
    const KIVOptions all = options(signer.sign(payload(key)));
    onThreads(4, [&](int i) {
        std::string own = key;
        own.back() = static_cast<char>('a' + i);
        const auto container = std::make_shared<StoreFlags>();
        KIVCore::register_("thread" + std::to_string(i), container);
        KIVCore::setupWithKey(i % 2 ? own : key, all);
        for (int n = 0; n < 50; ++n) {
            flags->color.value();
            container->open.isEnabled();
            KIVCore::dynamicAPI()->getInt("by.name." + std::to_string(n), 1);
            KIVCore::unfreeze();
        }
        if (i == 3) {
            KIVCore::shutdown();
        }
    });
    EXPECT_EQ(KIVCore::flags().size(), 5 * 4U + 50U);
}

} // namespace
