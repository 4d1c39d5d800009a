#include <cstdlib>
#include <deque>
#include <future>
#include <memory>
#include <string>

#include "CorvaneClient/KIVClientDataParser.h"
#include "CorvaneClient/KIVConfigurationFetcher.h"
#include "Flags/KIVFeatureFlagsSetter.h"
#include "FuzzFolder.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Support/FuzzWorld.h"

namespace {

std::deque<kiv::HttpResponse> answers; ///< to the next requests

kiv::HttpResponse nextAnswer() {
    if (answers.empty()) {
        return {.error =
                    kiv::TransportError{std::string(kiv::urlErrorDomain), kiv::TransportError::timedOut, ""}};
    }
    kiv::HttpResponse answer = std::move(answers.front());
    answers.pop_front();
    return answer;
}

struct Task : kiv::HttpTask {
    void cancel() override {}
};

} // namespace

// These stand in the place of the library's HTTP client.
namespace kiv {

std::shared_ptr<HttpTask> sendHttpRequest(HttpRequest,
                                          std::function<void(HttpResponse response)> completion) {
    completion(nextAnswer());
    return std::make_shared<Task>();
}

std::shared_ptr<HttpTask> openHttpStream(HttpRequest, HttpStreamHandlers) { return std::make_shared<Task>(); }

} // namespace kiv

namespace {

constexpr const char* key = "5e0bd1f2c3a4b5d6e7f80912";

/// What a client has of its fetcher: a new one reads what an earlier one has stored.
struct Start {
    explicit Start(bool isStrict) {
        const auto options = std::make_shared<KIVClientOptions>();
        options->disableSignatureVerification = !isStrict;
        const auto properties = std::make_shared<KIVCustomPropertiesRepository>();
        const auto flags = std::make_shared<KIVFeatureFlagsRepository>();
        const auto environment = std::make_shared<const KIVEnvironment>(KIVNetworkConfigurationsOptions{
            .getConfigApiEndpoint = "http://127.0.0.1", .getConfigCloudEndpoint = "http://127.0.0.1"});
        fetcher = std::make_shared<KIVConfigurationFetcher>(
            std::make_shared<const KIVNetwork>(options, std::make_shared<const KIVURLSession>()),
            KIVConfigurationFetcher::productionType,
            std::make_shared<KIVClientConfigurationLoadingDataManager>(KIVDataPersistency(), nullptr,
                                                                       std::nullopt, key),
            std::make_shared<const KIVURLBuilder>(environment),
            std::make_shared<const KIVDeviceProperties>(key, std::nullopt, properties, flags),
            KIVFeatureFlagsSetter::create({.parser = std::make_shared<KivxParser>(),
                                           .propertiesRepository = properties,
                                           .flagsRepository = flags}));
    }

    /// The result of a fetch that asks the network.
    KIVConfigurationDataResult fetch() const {
        std::promise<KIVConfigurationDataResult> fetched;
        fetcher->fetchConfiguration(
            false, std::nullopt, [&](const KIVConfigurationDataResult& result, KIVConfigurationSource from) {
                if (from == KIVConfigurationSource::network) {
                    fetched.set_value(result);
                }
            });
        return fetched.get_future().get();
    }

    std::shared_ptr<KIVConfigurationFetcher> fetcher;
};

/// Parses a payload as a client does, and evaluates the experiment of each of its flags.
void apply(const KIVConfigurationDataResult::Document& payload) {
    const KIVClientDataParser parser("distinct", {}, payload);
    const auto experiments = parser.experiments();
    const FuzzWorld world(parser.targetGroups(), experiments);
    const auto context = EvaluationContext::initDefault();
    for (const auto& [flag, experiment] : *experiments) {
        experiment->valueWithParser(world.parser(), flag.name, context);
    }
}

/// Takes the answers from the text: each is its status in three characters, its body, and a line "%%" unless
/// it is the last.
void readAnswers(std::string_view text) {
    constexpr std::string_view end = "\n%%\n";
    answers.clear();
    while (text.size() >= 3 && answers.size() < 4) {
        const std::string_view answer = text.substr(0, text.find(end));
        const int status = std::atoi(std::string(answer.substr(0, 3)).c_str());
        answers.push_back(
            {.status = status, .body = std::string(answer.substr(std::min<std::size_t>(3, answer.size())))});
        text.remove_prefix(std::min(text.size(), answer.size() + end.size()));
    }
}

bool isDummy(const kiv::json::value& payload) {
    const auto* dummy = kiv::member(payload, "dummy");
    return dummy && kiv::equalJson(*dummy, kiv::json::value(true));
}

} // namespace

/// Takes the bytes as the answers to the requests of two fetches, in order. An "s" before them stands for
/// signatures being verified. What a fetch brings is applied, and the next start finds it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzFolder::clear();
    std::string_view text = textOf(data, size);
    const bool isStrict = text.starts_with('s');
    text.remove_prefix(isStrict ? 1 : 0);
    readAnswers(text);
    const Start first(isStrict);
    for (int fetch = 0; fetch < 2; ++fetch) {
        const KIVConfigurationDataResult result = first.fetch();
        if (!result.configuration) {
            continue;
        }
        apply(result.configuration);
        const auto kept = Start(isStrict).fetcher->cachedConfiguration();
        const bool isKept =
            kept && kept->configuration && kiv::equalJson(*kept->configuration, *result.configuration);
        if (isKept == isDummy(*result.configuration)) {
            std::abort();
        }
    }
    return 0;
}
