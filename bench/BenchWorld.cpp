#include "BenchWorld.h"

#include "Platform/System/Files.h"
#include "Support/Host.h"
#include "Support/Payload.h"
#include "Support/TemporaryFolder.h"

namespace {

/// The library's folder, which is removed when the process ends.
const TemporaryFolder& folder() {
    static const TemporaryFolder folder;
    return folder;
}

/// Writes a signed document with the experiments for the application of the key. Returns the path.
std::string writeDocument(const std::string& key, const kiv::json::array& experiments) {
    const std::string path = folder() / (key + ".json");
    kiv::writeFile(path, benchSigner().sign(makePayload(key, experiments)));
    return path;
}

/// A condition of that many operators, a multiple of four, which holds: 50 bytes for each operator.
std::string conjunctionOf(std::size_t operators) {
    std::string condition = "true";
    for (std::size_t i = 0; i < operators; i += 4) {
        condition =
            R"(and(not(eq(property("country"), ")" + std::string(160, 'x') + R"(")), )" + condition + ")";
    }
    return condition;
}

} // namespace

const Signer& benchSigner() {
    static const Signer& signer = *new Signer(makeSigner());
    return signer;
}

std::string payloadOf(std::size_t experiments, const std::string& key) {
    kiv::json::array all;
    for (std::size_t i = 0; i < experiments; ++i) {
        const std::string number = std::to_string(i);
        all.push_back(makeExperiment("bench.flag" + number, R"(eq("FR", "FR"))",
                                     {{"_id", "id-" + number}, {"name", "Experiment " + number}}));
    }
    return makePayload(key, all);
}

std::string unusedKey() {
    static unsigned last = 100'000;
    return "5e0bd1f2c3a4b5d6e7" + std::to_string(++last);
}

KIVOptions optionsFor(const std::string& key) {
    const std::string half = R"(isInPercentage(0.5, mergeSeed("seed", property("userId"))))";
    const std::string country = R"(eq(property("country"), "FR"))";
    const std::string inList = R"(inArray(property("country"), ["DE", "IT", "FR"]))";
    const std::string recent = R"(semverGte(property("version"), "2.3.1"))";
    const std::string document = writeDocument(
        key,
        {makeExperiment("bench.constant", "true"), makeExperiment("bench.rule", country),
         makeExperiment("bench.rollout", half),
         makeExperiment("bench.compound", "and(" + country + ", and(" + recent + ", " + half + "))"),
         makeExperiment("bench.list", "and(" + inList + ", and(" + recent + ", " + half + "))"),
         makeExperiment("bench.twenty", conjunctionOf(20)), makeExperiment("bench.forty", conjunctionOf(40)),
         makeExperiment("bench.context", R"(eq(property("plan"), "pro"))"),
         makeExperiment("bench.regex", R"(match(property("tag"), "^blue-[0-9]+", ""))"),
         makeExperiment("bench.frozen", country), makeExperiment("bench.overridden", "false")});
    return {.customSigningCertificate = benchSigner().certificateBase64,
            .defaultConfigurationPath = document,
            .networkConfigurations = KIVNetworkConfigurationsOptions()};
}

BenchFlags& benchFlags() {
    static BenchFlags& flags = []() -> BenchFlags& {
        configureHost([](KIVHost& host) { host.libraryDirectory = folder().path(); });
        const auto container = std::make_shared<BenchFlags>();
        KIVCore::register_("bench", container);
        KIVCore::setCustomStringProperty("FR", "country");
        KIVCore::setCustomStringProperty("user-1", "userId");
        KIVCore::setCustomSemverProperty("2.4.0", "version");
        KIVCore::setCustomStringProperty("blue-42-xy", "tag");
        KIVCore::setupWithKey(benchKey, optionsFor(benchKey));
        KIVCore::overrides()->setOverride("true", "bench.overridden");
        return *container; // the library keeps the container
    }();
    return flags;
}

BenchFlags& benchFlagsWithHandler() {
    static BenchFlags& flags = []() -> BenchFlags& {
        BenchFlags& served = benchFlags();
        const std::string key = unusedKey();
        KIVOptions options = optionsFor(key);
        options.impressionHandler = [](const KIVReportingValue& value) { benchmark::DoNotOptimize(&value); };
        KIVCore::setupWithKey(key, options);
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
        const std::string document =
            writeDocument(reportKey, {makeExperiment("kiv.internal.analytics", R"("true")")});
        KIVCore::setupWithKey(reportKey, {.customSigningCertificate = benchSigner().certificateBase64,
                                          .defaultConfigurationPath = document,
                                          .networkConfigurations = KIVNetworkConfigurationsOptions{
                                              .analyticsEndpoint = analytics}});
        return served;
    }();
    return flags;
}
