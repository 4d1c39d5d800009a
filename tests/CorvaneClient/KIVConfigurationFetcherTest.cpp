#include <filesystem>
#include <thread>

#include <gtest/gtest.h>

#include "CorvaneClient/KIVConfigurationFetcher.h"
#include "Flags/KIVFeatureFlagsSetter.h"
#include "KivxLanguage/KivxParser.h"
#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/System/Files.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Support/CapturedLog.h"
#include "Support/Signing.h"
#include "Support/Threads.h"

namespace {

using Manager = KIVClientConfigurationLoadingDataManager;
using Document = KIVConfigurationDataResult::Document;

const std::string appKey = "5e0bd1f2c3a4b5d6e7f80912";
const std::string early = "2026-01-01T00:00:00.000Z";
const std::string late = "2026-01-01T01:00:00.001+0100";

Document documentOf(const std::string& text) {
    return std::make_shared<const kiv::json::value>(*kiv::parseJson(text));
}

KIVHost hostWithResources() {
    KIVHost host;
    host.resourceDirectory = KIVHost::current()->libraryDirectory.value() + "/resources";
    return host;
}

class ConfigurationStores : public ::testing::Test {
protected:
    std::shared_ptr<Manager> manager() const {
        return std::make_shared<Manager>(KIVDataPersistency(), nullptr, path, appKey);
    }
    std::string defaultName() const {
        const auto found = manager()->defaultConfiguration();
        const auto* name = found ? kiv::textMember(*found, "name") : nullptr;
        return name ? std::string(*name) : "none";
    }
    KIVConfigurationFetcher fetcher(const std::shared_ptr<Manager>& manager, int type = 0) const {
        const auto options = std::make_shared<KIVClientOptions>();
        options->customSigningCertificate = signer.certificateBase64;
        const auto properties = std::make_shared<KIVCustomPropertiesRepository>();
        const auto flags = std::make_shared<KIVFeatureFlagsRepository>();
        const auto environment = std::make_shared<const KIVEnvironment>(KIVNetworkConfigurationsOptions());
        return {std::make_shared<const KIVNetwork>(options, std::make_shared<const KIVURLSession>()),
                type,
                manager,
                std::make_shared<const KIVURLBuilder>(environment),
                std::make_shared<const KIVDeviceProperties>(appKey, std::nullopt, properties, flags),
                KIVFeatureFlagsSetter::create({.parser = std::make_shared<KivxParser>(),
                                               .propertiesRepository = properties,
                                               .flagsRepository = flags})};
    }

    CapturedLog log{hostWithResources()};
    const std::string resource = *KIVHost::current()->resourceDirectory + "/" + appKey + ".json";
    const std::string path = *KIVHost::current()->libraryDirectory + "/default.json";
    const std::string record = *KIVHost::current()->libraryDirectory +
                               "/Application Support/Persistency/KIVClientConfigurationLoadingData";
    const Signer signer = makeSigner();
};

TEST_F(ConfigurationStores, TheDefaultIsTheResourceElseThePath) {
    EXPECT_EQ(defaultName(), "none");
    EXPECT_TRUE(log.has({path, "missing"}));
    kiv::writeFile(path, R"({"name":"path"})");
    EXPECT_EQ(defaultName(), "path");
    kiv::writeFile(resource, R"({"name":"resource"})");
    EXPECT_EQ(defaultName(), "resource");
    kiv::writeFile(resource, "no JSON");
    EXPECT_EQ(defaultName(), "none") << "the resource was found";
    EXPECT_TRUE(log.has({resource, "not JSON"}));
}

TEST_F(ConfigurationStores, AreOnDiskWhenASetterReturnsWhoeverElseIsWriting) {
    const auto own = manager();
    int written = 0;
    const auto write = [&] {
        own->setProductionConfiguration(documentOf(R"({"data":")" + std::to_string(++written) + "\"}"));
    };
    write();
    besideThreads(1, write, [&] {
        for (std::int32_t type = 1; type <= 50; ++type) {
            own->setNextStartLoadingType(type);
            EXPECT_EQ(manager()->nextStartLoadingType(), type);
        }
    });
    EXPECT_EQ(manager()->nextStartLoadingType(), 50);
    EXPECT_EQ(*kiv::textMember(*manager()->productionConfiguration(), "data"), std::to_string(written));
}

TEST_F(ConfigurationStores, ABadDefaultIsNoneAndTheLogSaysWhy) {
    const std::pair<std::string, const char*> cases[] = {
        {"", "empty"},
        {R"({"name":"path")", "not JSON"},
        {R"(["name"])", "not a JSON object"},
        {std::string(64U << 20, ' ') + "{}", "larger than 64 MiB"},
    };
    for (const auto& [content, reason] : cases) {
        log.clear();
        kiv::writeFile(path, content);
        EXPECT_EQ(defaultName(), "none") << reason;
        EXPECT_TRUE(log.has({path, reason})) << reason;
    }
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_EQ(defaultName(), "none");
}

TEST_F(ConfigurationStores, EachChangeIsOnDiskAtOnce) {
    const auto first = manager();
    EXPECT_EQ(first->nextStartLoadingType(), 0);
    EXPECT_EQ(first->productionConfiguration(), nullptr);
    first->setNextStartLoadingType(2);
    EXPECT_EQ(manager()->nextStartLoadingType(), 2);
    const auto envelope =
        documentOf(R"({"data":"{}","version":9007199254740993,"flags":[true,1.5,{"a":[]}]})");
    first->setProductionConfiguration(envelope);
    const auto second = manager();
    EXPECT_EQ(second->nextStartLoadingType(), 2);
    ASSERT_TRUE(second->productionConfiguration());
    EXPECT_TRUE(kiv::equalJson(*second->productionConfiguration(), *envelope));
    second->setProductionConfiguration(nullptr);
    EXPECT_EQ(manager()->productionConfiguration(), nullptr);
}

TEST_F(ConfigurationStores, RecordsOfOtherVersionsAndDamagedOnes) {
    struct Case {
        const char* member;
        kiv::json::value value;
        int type;
        bool hasConfiguration;
    };
    const Case cases[] = {
        {"formatVersion_majorNumber", 1, 1, true},     {"formatVersion_majorNumber", 0, 0, false},
        {"formatVersion_minorNumber", -1, 0, false},   {"formatVersion_majorNumber", 2, 1, true},
        {"formatVersion_majorNumber", "1", 0, false},  {"nextStartLoadingType", "1", 0, true},
        {"productionConfiguration", "text", 1, false},
    };
    for (const Case& one : cases) {
        kiv::json::object archive{{"formatVersion_majorNumber", 1},
                                  {"formatVersion_minorNumber", 0},
                                  {"nextStartLoadingType", 1},
                                  {"productionConfiguration", {{"data", "{}"}}}};
        archive[one.member] = one.value;
        SCOPED_TRACE(kiv::compactJson(archive));
        ASSERT_TRUE(kiv::writePropertyList(record, archive));
        EXPECT_EQ(manager()->nextStartLoadingType(), one.type);
        EXPECT_EQ(manager()->productionConfiguration() != nullptr, one.hasConfiguration);
    }
    kiv::writeFile(record, "bplist00 nonsense");
    EXPECT_EQ(manager()->nextStartLoadingType(), 0);
}

TEST_F(ConfigurationStores, TheDocumentSignedLaterIsChosen) {
    const auto dated = [](const std::string& date) {
        return documentOf(R"({"signed_date":")" + date + "\"}");
    };
    const auto undated = documentOf(R"({"signed_date":7})");
    const auto unreadable = dated("2026-01-01");
    struct Case {
        const char* what;
        Document stored;
        Document embedded;
        bool storedWins;
    };
    const Case cases[] = {
        {"stored later", dated(late), dated(early), true},
        {"embedded later", dated(early), dated(late), false},
        {"the same instant", dated(early), dated("2026-01-01T02:00:00.000+02:00"), false},
        {"stored without a date", undated, dated(early), false},
        {"embedded without a date", dated(early), unreadable, true},
        {"both without", unreadable, undated, false},
        {"stored only", undated, nullptr, true},
        {"embedded only", nullptr, dated(early), false},
        {"neither", nullptr, nullptr, false},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        const auto& winner = one.storedWins ? one.stored : one.embedded;
        const auto chosen = KIVConfigurationFetcher::cachedConfigurationByDate(one.stored, one.embedded);
        EXPECT_EQ(chosen.configuration, winner);
        EXPECT_EQ(chosen.fetcherStatus,
                  one.storedWins ? KIVFetcherStatus::stored : KIVFetcherStatus::embedded);
        EXPECT_EQ(chosen.configurationDate, KIVConfigurationFetcher::signedDateFromConfiguration(winner));
    }
}

TEST_F(ConfigurationStores, TheFirstFetchServesTheStoreOnTheCallersThread) {
    kiv::writeFile(path, signer.sign(R"({"from":"embedded"})", early));
    const auto stores = manager();
    stores->setProductionConfiguration(documentOf(signer.sign(R"({"from":"stored"})", late)));
    auto served = fetcher(stores);
    std::vector<std::string> calls;
    const auto completion = [&, thread = std::this_thread::get_id()](const KIVConfigurationDataResult& result,
                                                                     KIVConfigurationSource source) {
        EXPECT_EQ(std::this_thread::get_id(), thread);
        EXPECT_EQ(source, KIVConfigurationSource::store);
        EXPECT_EQ(result.fetcherStatus, KIVFetcherStatus::stored);
        EXPECT_TRUE(result.hasChanges);
        EXPECT_TRUE(result.configurationDate);
        calls.push_back(kiv::compactJson(*result.configuration));
    };
    served.fetchConfiguration(true, std::nullopt, completion);
    EXPECT_EQ(calls, std::vector<std::string>{R"({"from":"stored"})"});
    served.fetchConfiguration(true, "push", completion);
    EXPECT_EQ(calls.size(), 1U) << "the first fetch only";
    EXPECT_TRUE(log.has(
        {"KIVConfigurationFetcher: fetchConfiguration starting with SDK key from UserDefaults: (null)"}));

    fetcher(stores, 1).fetchConfiguration(true, std::nullopt, completion);
    EXPECT_EQ(calls.size(), 1U) << "another type has nothing at hand";
    EXPECT_EQ(fetcher(stores, 1).cachedConfiguration(), std::nullopt);
}

TEST_F(ConfigurationStores, ADocumentThatCannotBeVerifiedIsAnErrorAndNotServed) {
    const auto stores = manager();
    const auto none = fetcher(stores).cachedConfiguration();
    EXPECT_EQ(none->fetcherStatus, KIVFetcherStatus::embedded);
    EXPECT_EQ(none->configuration, nullptr);

    stores->setDefaultConfiguration(documentOf(makeSigner().sign("{}", early)));
    const auto refused = fetcher(stores).cachedConfiguration();
    EXPECT_EQ(refused->fetcherStatus, KIVFetcherStatus::error);
    EXPECT_EQ(refused->error, "KIVNetwork_signatureWasNotVerified");
    EXPECT_EQ(refused->configuration, nullptr);
    EXPECT_FALSE(refused->hasChanges);
    EXPECT_TRUE(refused->configurationDate);
    auto silent = fetcher(stores);
    silent.fetchConfiguration(true, std::nullopt, [](const auto&, auto) { ADD_FAILURE() << "called"; });
}

TEST_F(ConfigurationStores, TheNextStartGrowsMorePatientAndStartsOver) {
    const auto stores = manager();
    auto own = fetcher(stores);
    const std::pair<int, double> steps[] = {{0, 0.0}, {1, 2.0}, {2, 8.0}, {0, 0.0}};
    for (const auto& [type, seconds] : steps) {
        EXPECT_EQ(stores->nextStartLoadingType(), type);
        EXPECT_EQ(own.timeIntervalForCurrentNextStartLoadingType(), seconds);
        own.iterateNextStartLoadingState();
    }
    stores->setNextStartLoadingType(-1);
    EXPECT_EQ(own.timeIntervalForCurrentNextStartLoadingType(), 0.0);
    own.iterateNextStartLoadingState();
    EXPECT_EQ(stores->nextStartLoadingType(), 0);
}

} // namespace
