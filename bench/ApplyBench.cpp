#include "BenchWorld.h"

#include "CorvaneClient/KIVClientDataParser.h"
#include "Flags/KIVFeatureFlagsRepository.h"
#include "Flags/KIVFeatureFlagsSetter.h"
#include "KivxLanguage/KivxParser.h"
#include "Model/KIVTargetGroupRepository.h"
#include "Network/KIVNetwork.h"
#include "Runtime/KIVUserspaceUnhandledErrorInvoker.h"

namespace {

/// A repository of `count` flags, and the objects that apply documents to them.
struct ApplyWorld {
    explicit ApplyWorld(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            flags->takeFeature(std::make_shared<KIVFlag>(false), "bench.flag" + std::to_string(i));
        }
        auto options = std::make_shared<KIVClientOptions>();
        options->customSigningCertificate = benchSigner().certificateBase64;
        network = std::make_shared<KIVNetwork>(options, std::make_shared<const KIVURLSession>());
        setter = KIVFeatureFlagsSetter::create({
            .distinctId = [] { return std::string(); },
            .parser = std::make_shared<KivxParser>(),
            .featureFlagStickiness = nullptr,
            .impressionHandler = {},
            .propertiesRepository = std::make_shared<KIVCustomPropertiesRepository>(),
            .flagsRepository = flags,
            .errorInvoker = std::make_shared<KIVUserspaceUnhandledErrorInvoker>(),
            .analytics = nullptr,
        });
    }

    /// Takes a signed document from its text to the flags. False when the document was refused.
    bool apply(const std::string& text) {
        const auto envelope = kiv::parseJson(text);
        KIVNetworkError error{};
        const auto document = envelope ? network->extractInnerJson(*envelope, "bench", &error) : nullptr;
        if (!document) {
            return false;
        }
        const auto parser = KIVClientDataParserFactory("", {}).dataParserWithData(document);
        groups.setTargetGroups(parser->targetGroups());
        setter->setForExperiments(parser->experiments());
        return true;
    }

    std::shared_ptr<KIVFeatureFlagsRepository> flags = std::make_shared<KIVFeatureFlagsRepository>();
    std::shared_ptr<KIVNetwork> network;
    std::shared_ptr<KIVFeatureFlagsSetter> setter;
    KIVTargetGroupRepository groups;
};

void apply(benchmark::State& state) {
    benchFlags();
    const auto count = static_cast<std::size_t>(state.range(0));
    const std::string envelope = benchSigner().sign(payloadOf(count));
    ApplyWorld world(count);
    const std::uint64_t before = liveHeapBytes();
    if (!world.apply(envelope) || !world.flags->featureWithName("bench.flag1")->getBoolValue()) {
        state.SkipWithError("the document was not applied");
        return;
    }
    state.counters["bytes_per_experiment"] =
        static_cast<double>(liveHeapBytes() - before) / static_cast<double>(count);
    for (auto _ : state) {
        world.apply(envelope);
    }
}

BENCHMARK(apply)->Name("apply")->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace
