#include "Support/FuzzWorld.h"

#include "CorvaneClient/KIVClientDataParser.h"
#include "Network/KIVNetwork.h"

namespace {

/// Parses a payload as a client does, and evaluates the experiment of each of its flags.
void apply(const KIVConfigurationDataResult::Document& payload) {
    const KIVClientDataParser parser(
        "distinct",
        [] {
            return std::make_shared<const kiv::json::object>(kiv::json::object{{"platform", "linux"}});
        },
        payload);
    parser.versionId();
    parser.tweakBundle();
    const auto experiments = parser.experiments();
    const FuzzWorld world(parser.targetGroups(), experiments);
    const auto context = EvaluationContext::initDefault();
    for (const auto& [flag, experiment] : *experiments) {
        experiment->valueWithParser(world.parser(), flag.name, context);
    }
}

} // namespace

/// Takes the bytes as the text of an envelope, and as the payload inside an envelope, and applies the
/// document.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool isReady = useNoFolder();
    static_cast<void>(isReady);
    const auto options = std::make_shared<KIVClientOptions>();
    const auto session = std::make_shared<const KIVURLSession>();
    const KIVNetwork strict(options, session);
    options->disableSignatureVerification = true;
    const KIVNetwork lenient(options, session);

    const auto envelope = kiv::parseJson(textOf(data, size));
    if (envelope) {
        strict.extractInnerJson(*envelope, "envelope", nullptr);
        if (const auto payload = lenient.extractInnerJson(*envelope, "envelope", nullptr)) {
            apply(payload);
        }
    }
    const kiv::json::value wrapping = {{"data", textOf(data, size)}};
    if (const auto payload = lenient.extractInnerJson(wrapping, "wrapping", nullptr)) {
        apply(payload);
    }
    return 0;
}
