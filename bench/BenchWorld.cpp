#include "BenchWorld.h"

#include <cstdlib>
#include <filesystem>

#include "Platform/System/Files.h"
#include "Platform/Text/Json.h"

namespace {

/// A folder that goes with the process.
const std::string& folder() {
    static const std::string path = [] {
        std::string made = (std::filesystem::temp_directory_path() / "kiv-bench-XXXXXX").string();
        if (!mkdtemp(made.data())) {
            std::abort();
        }
        std::atexit([] { std::filesystem::remove_all(folder()); });
        return made;
    }();
    return path;
}

std::string experiment(const std::string& number, const std::string& flag, const std::string& condition) {
    return R"({"_id":"id-)" + number + R"(","name":"Experiment )" + number +
           R"(","deploymentConfiguration":{"condition":)" + kiv::compactJson(kiv::json::string(condition)) +
           R"(},"featureFlags":[{"name":")" + flag + R"("}]})";
}

std::string payload(const std::string& key, const std::string& experiments) {
    return R"({"application":")" + key + R"(","experiments":[)" + experiments + R"(],"targetGroups":[]})";
}

/// Serves the flags with a document of this key's.
void setUp(const std::string& key, std::function<void(const KIVReportingValue&)> handler) {
    const std::string half = R"(isInPercentage(0.5, mergeSeed("seed", property("userId"))))";
    const std::string country = R"(eq(property("country"), "FR"))";
    const std::string document = folder() + "/" + key + ".json";
    kiv::writeFile(
        document,
        benchSigner().sign(payload(
            key, experiment("1", "bench.rule", country) + "," + experiment("2", "bench.rollout", half) + "," +
                     experiment("3", "bench.compound",
                                "and(" + country + R"(, and(semverGte(property("version"), "2.3.1"), )" +
                                    half + "))") +
                     "," + experiment("4", "bench.regex", R"(match(property("tag"), "^blue-[0-9]+", ""))") +
                     "," + experiment("5", "bench.frozen", country) + "," +
                     experiment("6", "bench.overridden", "false"))));
    KIVCore::setupWithKey(key, {.impressionHandler = std::move(handler),
                                .customSigningCertificate = benchSigner().certificateBase64,
                                .defaultConfigurationPath = document,
                                .networkConfigurations = KIVNetworkConfigurationsOptions()});
    KIVCore::overrides()->setOverride("true", "bench.overridden");
}

} // namespace

const Signer& benchSigner() {
    static const Signer& signer = *new Signer(makeSigner());
    return signer;
}

std::string payloadOf(std::size_t experiments, const std::string& key) {
    std::string text;
    for (std::size_t i = 0; i < experiments; ++i) {
        const std::string number = std::to_string(i);
        text += (i ? "," : "") + experiment(number, "bench.flag" + number, R"(eq("FR", "FR"))");
    }
    return payload(key, text);
}

BenchFlags& benchFlags() {
    static BenchFlags& flags = []() -> BenchFlags& {
        KIVHost host;
        host.libraryDirectory = folder();
        KIVHost::configure(host);
        const auto container = std::make_shared<BenchFlags>();
        KIVCore::register_("bench", container);
        KIVCore::setCustomStringProperty("FR", "country");
        KIVCore::setCustomStringProperty("user-1", "userId");
        KIVCore::setCustomSemverProperty("2.4.0", "version");
        KIVCore::setCustomStringProperty("blue-42-xy", "tag");
        setUp(benchKey, {});
        return *container; // lives on with the library
    }();
    return flags;
}

BenchFlags& benchFlagsWithHandler() {
    static BenchFlags& flags = []() -> BenchFlags& {
        BenchFlags& served = benchFlags();
        setUp("5e0bd1f2c3a4b5d6e7f80913",
              [](const KIVReportingValue& value) { benchmark::DoNotOptimize(&value); });
        return served;
    }();
    return flags;
}

BenchFlags& benchFlagsWithService(const std::string& configCdn,
                                  std::function<void(const KIVFetcherResult&)> fetched) {
    BenchFlags& served = benchFlags();
    KIVCore::setupWithKey(serviceKey, {.onConfigurationFetched = std::move(fetched),
                                       .customSigningCertificate = benchSigner().certificateBase64,
                                       .networkConfigurations = KIVNetworkConfigurationsOptions{
                                           .getConfigCloudEndpoint = configCdn}});
    return served;
}

BenchFlags& benchFlagsWithReports(const std::string& analytics) {
    static BenchFlags& flags = [&]() -> BenchFlags& {
        BenchFlags& served = benchFlags();
        const std::string document = folder() + "/" + reportKey + ".json";
        kiv::writeFile(document, benchSigner().sign(payload(
                                     reportKey, experiment("1", "kiv.internal.analytics", R"("true")"))));
        KIVCore::setupWithKey(reportKey, {.customSigningCertificate = benchSigner().certificateBase64,
                                          .defaultConfigurationPath = document,
                                          .networkConfigurations = KIVNetworkConfigurationsOptions{
                                              .analyticsEndpoint = analytics}});
        return served;
    }();
    return flags;
}
