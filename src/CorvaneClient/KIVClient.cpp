#include "CorvaneClient/KIVClient.h"

#include <kiv/KIVHost.h>

#include "CorvaneClient/KIVClientConfigurationLoadingDataManager.h"
#include "CorvaneClient/KIVClientDataParser.h"
#include "CorvaneClient/KIVClientDataParserFactory.h"
#include "CorvaneClient/KIVConfigurationFetcher.h"
#include "Flags/KIVFeatureFlagsSetter.h"
#include "Flags/KIVFlagValueSource.h"
#include "KivxLanguage/KivxCustomPropertiesExtensions.h"
#include "KivxLanguage/KivxExperimentsExtensions.h"
#include "KivxLanguage/KivxParser.h"
#include "Model/KIVConfiguration.h"
#include "Model/KIVTargetGroupLinkArchiver.h"
#include "Model/KIVTargetGroupRepository.h"
#include "Model/KIVTargetGroupSource.h"
#include "Platform/UserDefaults.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Runtime/Failure.h"
#include "Runtime/KIVDebugger.h"
#include "Runtime/KIVUserspaceUnhandledErrorInvoker.h"

namespace {

/// A key that was made current at an earlier launch is the one that this launch's client works for.
KIVClient::Parts forStoredKey(KIVClient::Parts parts) {
    if (const auto key = kiv::UserDefaults::standard().string("KIV_CURRENT_SDK_KEY")) {
        parts.flagsRepository = parts.flagsRepositoryForSDKKey(*key);
        parts.deviceProperties = parts.devicePropertiesForSDKKey(*key);
    }
    return parts;
}

} // namespace

std::shared_ptr<KIVClient> KIVClient::create(Parts parts) {
    // Observers that have just been removed may still run on other threads.
    std::shared_ptr<KIVClient> client(new KIVClient(forStoredKey(std::move(parts))), [](KIVClient* own) {
        own->stopObserving();
        kiv::retire(std::unique_ptr<KIVClient>(own));
    });
    client->start();
    return client;
}

KIVClient::KIVClient(Parts parts)
    : parts_(std::move(parts)), targetGroupLinkArchiver_(std::make_shared<KIVTargetGroupLinkArchiver>()),
      parser_(std::make_shared<KivxParser>(parts_.errorInvoker)) {
    const auto stickiness = std::make_shared<KIVFeatureFlagsStickiness>(
        [configuration = parts_.configuration] { return configuration->conf(); });
    // The setter hands the parser to flags, which other threads read: the operators come first.
    const auto flagValues = std::make_shared<KIVFlagValueSource>(parts_.flagsRepository);
    const auto targetGroups =
        std::make_shared<const KIVTargetGroupSource>(parts_.targetGroupRepository, targetGroupLinkArchiver_);
    KivxExperimentsExtensions(*parser_, targetGroups, flagValues).extend();
    KivxCustomPropertiesExtensions(*parser_, parts_.propertiesRepository, parts_.dynamicPropertiesRule)
        .extend();
    featureFlagSetter_ = KIVFeatureFlagsSetter::create({
        .distinctId = [deviceProperties = parts_.deviceProperties] { return deviceProperties->distinctId(); },
        .parser = parser_,
        .featureFlagStickiness = stickiness,
        .impressionHandler = parts_.impressionHandler,
        .propertiesRepository = parts_.propertiesRepository,
        .flagsRepository = parts_.flagsRepository,
        .errorInvoker = parts_.errorInvoker,
        .analytics = nullptr,
    });
    flagValues->setFeatureFlagsSetter(featureFlagSetter_);
    auto manager = std::make_shared<KIVClientConfigurationLoadingDataManager>(
        *parts_.dataPersistency, parts_.appVersionMonitor, parts_.clientOptions->defaultConfigurationPath,
        parts_.deviceProperties->appKey());
    productionConfigurationFetcher_ =
        std::make_shared<KIVConfigurationFetcher>(parts_.network, 0, std::move(manager));
}

KIVClient::~KIVClient() = default;

void KIVClient::observe(std::string_view name, kiv::NotificationCenter::Observer observer) {
    const kiv::WriterLock lock(observersLock_);
    observers_.push_back(
        kiv::NotificationCenter::defaultCenter().addObserver(std::string(name), std::move(observer)));
}

void KIVClient::start() {
    observe("KIVApplicationWillEnterForegroundNotification",
            [this](const auto&) { applicationWillEnterForeground(); });
}

void KIVClient::stopObserving() {
    featureFlagSetter_->shutdown();
    const kiv::WriterLock lock(observersLock_);
    for (const auto token : observers_) {
        kiv::NotificationCenter::defaultCenter().removeObserver(token);
    }
    observers_.clear();
}

void KIVClient::setup() {
    parts_.deviceProperties->addInternalProperties();
    featureFlagSetter_->unfreezeFlagsWithLevel(1);
    fetchConfiguration(std::nullopt);
    isSetUp_ = true;
}

void KIVClient::setupWithFreezeLevel(unsigned level, const std::optional<std::string>& source) {
    featureFlagSetter_->unfreezeFlagsWithLevel(level);
    fetchConfigurationFromURLExpanding(source);
}

void KIVClient::applicationWillEnterForeground() { setupWithFreezeLevel(2, std::nullopt); }

void KIVClient::fetchConfigurationFromURLExpanding(const std::optional<std::string>& source) {
    if (isSetUp_) {
        fetchConfiguration(source);
    }
}

void KIVClient::fetchConfiguration(const std::optional<std::string>& source) {
    productionConfigurationFetcher_->fetchConfiguration(
        false, source, [this](const KIVConfigurationDataResult& result, KIVConfigurationSource from) {
            if (result.configuration) {
                recognizeJson(result.configuration, from == KIVConfigurationSource::store);
            }
            invokeFetchedConfigurationHandler(result);
        });
}

void KIVClient::recognizeJson(const KIVConfigurationDataResult::Document& json, bool loadedFromCache) {
    const auto* application = kiv::textMember(*json, "application");
    const std::string expected = parts_.deviceProperties->appKey();
    if (!application || *application != expected) {
        KIV_DEBUG_LOG("Error: recognizeJson, missmatched appKey. expected: %@ actual: %@", expected,
                      application ? std::string_view(*application) : std::string_view("(null)"));
        return;
    }
    const auto failure = kiv::failureOf([&] {
        postRecognitionWithDataParser(*parts_.dataParserFactory->dataParserWithData(json), loadedFromCache);
    });
    if (failure) {
        KIV_DEBUG_LOG("Error: recognizeJson failed: %@", failure->what());
    }
}

void KIVClient::postRecognitionWithDataParser(const KIVClientDataParser& dataParser, bool loadedFromCache) {
    const bool applied = handleTweakBundleWithDataParser(dataParser);
    if (applied && !loadedFromCache) {
        onApplicationStart();
    }
    KIV_didFinishLoadingConfiguration();
}

bool KIVClient::handleTweakBundleWithDataParser(const KIVClientDataParser& dataParser) {
    parts_.targetGroupRepository->setTargetGroups(dataParser.targetGroups());
    auto experiments = dataParser.experiments();
    if (!experiments) {
        return false;
    }
    parts_.configuration->setConf(std::move(experiments));
    setConfiguration();
    return true;
}

void KIVClient::setConfiguration() {
    featureFlagSetter_->setForExperiments(parts_.configuration->conf());
    if (featureFlagSetter_->experimentValueWithFlagName("kiv.internal.configurationFetched") == "true") {
        KIV_DEBUG_LOG("Internal Flag Configuration Fetched");
    }
}

void KIVClient::invokeFetchedConfigurationHandler(const KIVConfigurationDataResult& result) {
    if (!parts_.configurationFetchedHandler) {
        return;
    }
    const auto failure = kiv::failureOf([&] {
        parts_.configurationFetchedHandler({
            .fetcherStatus = static_cast<int>(result.fetcherStatus),
            .creationDate = result.configurationDate,
            .errorDetails = result.error,
            .hasChanges = result.hasChanges,
        });
    });
    if (failure) {
        parts_.errorInvoker->trigger(KIVUserspaceSource::configurationFetchedHandler, *failure);
    }
}

void KIVClient::unfreeze() { featureFlagSetter_->unfreezeFlagsWithLevel(1); }

void KIVClient::unfreezeNamespace(const std::string& nameSpace) {
    featureFlagSetter_->unfreezeFlagsWithLevel(1, nameSpace);
}

void KIVClient::setGlobalDynamicPropertyContext(KIVDynamicPropertyContext context) {
    parser_->setGlobalDynamicPropertyContext(std::move(context));
}

void KIVClient::shutdown() {
    stopObserving();
    parts_.flagsRepository->clear();
}
