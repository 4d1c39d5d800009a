#include "CorvaneClient/KIVClient.h"

#include <kiv/KIVFlagsOverrides.h>
#include <kiv/KIVHost.h>

#include "Analytics/KIVSEGAES256Crypto.h"
#include "Analytics/KIVSEGAnalytics.h"
#include "CorvaneClient/KIVClientConfigurationLoadingDataManager.h"
#include "CorvaneClient/KIVClientDataParser.h"
#include "CorvaneClient/KIVConfigurationFetcher.h"
#include "CorvaneClient/KIVStateSender.h"
#include "Flags/KIVFeatureFlagsSetter.h"
#include "Flags/KIVFlagValueSource.h"
#include "KivxLanguage/KivxCustomPropertiesExtensions.h"
#include "KivxLanguage/KivxExperimentsExtensions.h"
#include "KivxLanguage/KivxParser.h"
#include "Model/KIVConfiguration.h"
#include "Model/KIVJSONKeys.h"
#include "Model/KIVTargetGroupLinkArchiver.h"
#include "Model/KIVTargetGroupRepository.h"
#include "Model/KIVTargetGroupSource.h"
#include "Network/KIVEnvironment.h"
#include "Network/KIVNetwork.h"
#include "Network/KIVNotificationListener.h"
#include "Network/KIVURLBuilder.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Runtime/Failure.h"
#include "Runtime/KIVDebugger.h"
#include "Runtime/KIVUserspaceUnhandledErrorInvoker.h"

namespace {

/// How long, in seconds, `shutdown` waits for impressions to be on disk and for the service's answer. With
/// the rest of its work, a shutdown takes 100 milliseconds at most.
constexpr double shutdownPatience = 0.095;

std::shared_ptr<KIVSEGAnalytics> analyticsFor(const KIVClient::Parts& parts) {
    auto configuration = KIVSEGAnalyticsConfiguration::configurationWithWriteKey(
        parts.deviceProperties->appKey(), parts.deviceProperties, parts.environment->analyticsUrl());
    const auto host = KIVHost::current();
    if (host->analyticsLog) {
        KIVSEGAnalytics::debug(true);
    }
    if (const auto& encryption = host->analyticsEncryption) {
        configuration->crypto =
            std::make_shared<KIVSEGAES256Crypto>(encryption->password, encryption->salt, encryption->iv);
    }
    return KIVSEGAnalytics::create(std::move(configuration));
}

} // namespace

std::shared_ptr<KIVClient> KIVClient::create(Parts parts) {
    // An observer may still run on another thread when its removal returns, so the client is retired instead
    // of destroyed.
    std::shared_ptr<KIVClient> client(new KIVClient(std::move(parts)), [](KIVClient* own) {
        own->stop();
        kiv::retire(std::unique_ptr<KIVClient>(own));
    });
    client->start();
    return client;
}

KIVClient::KIVClient(Parts parts)
    : parts_(std::move(parts)), targetGroupLinkArchiver_(std::make_shared<KIVTargetGroupLinkArchiver>()),
      parser_(std::make_shared<KivxParser>(parts_.errorInvoker)), analytics_(analyticsFor(parts_)) {
    const auto stickiness = std::make_shared<KIVFeatureFlagsStickiness>(
        [configuration = parts_.configuration] { return configuration->conf(); });
    // The setter hands the parser to flags, which other threads read, so the parser gets its operators first.
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
        .analytics = analytics_,
    });
    flagValues->setFeatureFlagsSetter(featureFlagSetter_);
    const auto urlBuilder = std::make_shared<const KIVURLBuilder>(parts_.environment);
    auto manager = std::make_shared<KIVClientConfigurationLoadingDataManager>(
        *parts_.dataPersistency, parts_.appVersionMonitor, parts_.clientOptions->defaultConfigurationPath,
        parts_.deviceProperties->appKey());
    productionConfigurationFetcher_ = std::make_shared<KIVConfigurationFetcher>(
        parts_.network, KIVConfigurationFetcher::productionType, std::move(manager), urlBuilder,
        parts_.deviceProperties, featureFlagSetter_);
    stateSender_ = std::make_shared<KIVStateSender>(parts_.network, urlBuilder, parts_.deviceProperties,
                                                    parts_.storedKey);
}

KIVClient::~KIVClient() = default;

void KIVClient::observe(std::string_view name, kiv::NotificationCenter::Observer observer) {
    const kiv::WriterLock lock(observersLock_);
    if (!parts_.network->isStopped()) {
        observers_.push_back(
            kiv::NotificationCenter::defaultCenter().addObserver(std::string(name), std::move(observer)));
    }
}

void KIVClient::start() {
    observe(KIVApplicationWillEnterForegroundNotification,
            [this](const auto&) { applicationWillEnterForeground(); });
}

void KIVClient::stop() {
    parts_.network->stop();
    featureFlagSetter_->shutdown();
    {
        const kiv::WriterLock lock(observersLock_);
        for (const auto token : observers_) {
            kiv::NotificationCenter::defaultCenter().removeObserver(token);
        }
        observers_.clear();
    }
    stateSender_->stop();
    stopPushUpdatesListener();
    analytics_->close();
}

void KIVClient::setup() {
    parts_.deviceProperties->addInternalProperties();
    if (parts_.network->isStopped()) {
        return; // an observer of these properties has shut the library down, or set up another key
    }
    observe(KIVC_customPropertyAddedNotification, [this](const auto&) { debounceSendState(); });
    featureFlagSetter_->unfreezeFlagsWithLevel(KIVFreezeUntilUnfreeze);
    fetchConfiguration(std::nullopt);
    isSetUp_ = true;
    sendState();
}

void KIVClient::setupWithFreezeLevel(unsigned level, const std::optional<std::string>& source) {
    featureFlagSetter_->unfreezeFlagsWithLevel(level);
    fetchConfigurationFromURLExpanding(source);
}

void KIVClient::applicationWillEnterForeground() {
    setupWithFreezeLevel(KIVFreezeUntilForeground, std::nullopt);
}

void KIVClient::fetchConfigurationFromURLExpanding(const std::optional<std::string>& source) {
    if (isSetUp_) {
        fetchConfiguration(source);
    }
}

void KIVClient::fetchConfiguration(const std::optional<std::string>& source) {
    productionConfigurationFetcher_->fetchConfiguration(
        false, source,
        [weak = weak_from_this(), isPush = source.has_value()](const KIVConfigurationDataResult& result,
                                                               KIVConfigurationSource from) {
            const auto client = weak.lock();
            if (!client || client->parts_.network->isStopped()) {
                return;
            }
            if (result.configuration) {
                client->recognizeJson(result.configuration, from == KIVConfigurationSource::store);
            }
            // The store has been read by now, so the handler may ask for another fetch.
            client->isSetUp_ = true;
            if (client->parts_.network->isStopped()) {
                return;
            }
            client->invokeFetchedConfigurationHandler(result, isPush);
        });
}

void KIVClient::recognizeJson(const KIVConfigurationDataResult::Document& json, bool loadedFromCache) {
    const auto* application = kiv::textMember(*json, KIVC_JSON_appKey);
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
    featureFlagSetter_->unlessStopped(
        [&] { parts_.targetGroupRepository->setTargetGroups(dataParser.targetGroups()); });
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

void KIVClient::invokeFetchedConfigurationHandler(const KIVConfigurationDataResult& result, bool isPush) {
    if (result.fetcherStatus != KIVFetcherStatus::error) {
        startOrStopPushUpdatesListener(isPush);
    }
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

/// A stream that has ended is opened anew after an ordinary fetch only. After a fetch that the push stream
/// asked for, a service that sends "changed" and hangs up would start an endless loop.
void KIVClient::startOrStopPushUpdatesListener(bool isPush) {
    const auto& url = parts_.environment->pushNotificationsUrl();
    if (!url || featureFlagSetter_->experimentValueWithFlagName("kiv.internal.pushUpdates") != "true") {
        stopPushUpdatesListener();
        return;
    }
    {
        std::unique_ptr<KIVNotificationListener> ended;
        const kiv::WriterLock lock(listenerLock_);
        if (notificationListener_ && !isPush && notificationListener_->hasEnded()) {
            ended = std::move(notificationListener_);
        }
        if (notificationListener_ || parts_.network->isStopped()) {
            return;
        }
        notificationListener_ =
            std::make_unique<KIVNotificationListener>(parts_.deviceProperties->appKey(), *url);
        notificationListener_->on(KIVC_pushEventName, [weak = weak_from_this()](const auto&) {
            if (const auto client = weak.lock()) {
                client->fetchConfigurationFromURLExpanding("push");
            }
        });
    }
    KIV_DEBUG_LOG("Push Updates are on");
}

void KIVClient::stopPushUpdatesListener() {
    std::unique_ptr<KIVNotificationListener> stopped;
    {
        const kiv::WriterLock lock(listenerLock_);
        stopped = std::move(notificationListener_);
    }
    if (stopped) {
        KIV_DEBUG_LOG("Push Updates are off");
    }
}

void KIVClient::sendState() { postState("sendState"); }

void KIVClient::sendStateAfterRegistration() { postState("sendStateAfterRegistration"); }

void KIVClient::postState(std::string_view caller) {
    KIV_DEBUG_LOG("CLIENT_DEBUG: KIVClient.%@ - client %@, SDK key %@", caller,
                  reinterpret_cast<std::uintptr_t>(this), parts_.deviceProperties->appKey());
    parts_.flagsRepository->logRepositoryState(kiv::format("Before %@", caller));
    stateSender_->sendStateSoon();
}

void KIVClient::debounceSendState() {
    parts_.flagsRepository->logRepositoryState("At debounceSendState");
    const bool isTaken = stateSender_->debounceSendState([weak = weak_from_this()] {
        if (const auto client = weak.lock()) {
            client->postState("debounced sendState");
        }
    });
    if (isTaken) {
        KIV_DEBUG_LOG("DEBOUNCE_DEBUG: KIVClient.debounceSendState - client %@, SDK key %@: in %@ seconds",
                      reinterpret_cast<std::uintptr_t>(this), parts_.deviceProperties->appKey(),
                      static_cast<double>(KIV_SetStateDebounceTime));
    } else {
        KIV_DEBUG_LOG("DEBOUNCE_DEBUG: KIVClient.debounceSendState - Skipping duplicate state send request");
    }
}

void KIVClient::unfreeze() { featureFlagSetter_->unfreezeFlagsWithLevel(KIVFreezeUntilUnfreeze); }

void KIVClient::unfreezeNamespace(const std::string& nameSpace) {
    featureFlagSetter_->unfreezeFlagsWithLevel(KIVFreezeUntilUnfreeze, nameSpace);
}

void KIVClient::setGlobalDynamicPropertyContext(KIVDynamicPropertyContext context) {
    parser_->setGlobalDynamicPropertyContext(std::move(context));
}

void KIVClient::takeOverFrom(const KIVClient& parents) {
    parser_->setGlobalDynamicPropertyContext(parents.parser_->globalDynamicPropertyContext());
    featureFlagSetter_->overrides()->takeOverFrom(*parents.featureFlagSetter_->overrides());
}

void KIVClient::shutdown() {
    featureFlagSetter_->shutdown(); // after this no read makes an impression, so all are sent
    analytics_->flushAndClose(shutdownPatience);
    stop();
    parts_.flagsRepository->clear();
}
