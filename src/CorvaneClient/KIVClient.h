#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <kiv/KIVCustomPropertyBlocks.h>
#include <kiv/KIVFetcherResult.h>
#include <kiv/KIVReportingValue.h>
#include <kiv/NotificationCenter.h>

#include "Model/KIVConfigurationDataResult.h"
#include "Network/KIVClientOptions.h"
#include "Platform/Threads/Queues.h"

class KIVAppVersionMonitor;
class KIVClientDataParser;
class KIVClientDataParserFactory;
class KIVConfiguration;
class KIVConfigurationFetcher;
class KIVCustomPropertiesRepository;
class KIVDataPersistency;
class KIVDeviceProperties;
class KIVEnvironment;
class KIVFeatureFlagsRepository;
class KIVFeatureFlagsSetter;
class KIVNetwork;
class KIVNotificationListener;
class KIVSEGAnalytics;
class KIVStateSender;
class KIVTargetGroupLinkArchiver;
class KIVTargetGroupRepository;
class KIVUserspaceUnhandledErrorInvoker;
class KivxParser;

/// How long, in seconds, added properties are collected before the state is sent.
extern std::atomic<float> KIV_SetStateDebounceTime;

/// The working object of the current key: it owns the evaluator and the setter, and fetches and applies
/// configurations.
///
/// Made by the facade's setup for one key. Callable from any thread.
class KIVClient : public std::enable_shared_from_this<KIVClient> {
public:
    struct Parts {
        std::shared_ptr<KIVClientOptions> clientOptions;
        std::shared_ptr<KIVConfiguration> configuration;
        std::shared_ptr<KIVNetwork> network;
        std::shared_ptr<KIVDeviceProperties> deviceProperties;
        std::shared_ptr<const KIVDataPersistency> dataPersistency;
        std::shared_ptr<KIVClientDataParserFactory> dataParserFactory;
        std::shared_ptr<const KIVAppVersionMonitor> appVersionMonitor;
        std::function<void(const KIVFetcherResult&)> configurationFetchedHandler;
        std::function<void(const KIVReportingValue&)> impressionHandler;
        KIVDynamicPropertiesRule dynamicPropertiesRule;
        std::shared_ptr<KIVCustomPropertiesRepository> propertiesRepository;
        std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository;
        std::shared_ptr<KIVTargetGroupRepository> targetGroupRepository;
        std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> errorInvoker;
        std::shared_ptr<const KIVEnvironment> environment;
        /// The facade's flags and device properties of another key: the one that was made current for this
        /// launch.
        std::function<std::shared_ptr<KIVFeatureFlagsRepository>(const std::string& key)>
            flagsRepositoryForSDKKey;
        std::function<std::shared_ptr<KIVDeviceProperties>(const std::string& key)> devicePropertiesForSDKKey;
    };

    /// When the last owner lets go of it, the client stops observing at once.
    static std::shared_ptr<KIVClient> create(Parts parts);
    ~KIVClient();
    KIVClient(const KIVClient&) = delete;
    KIVClient& operator=(const KIVClient&) = delete;

    /// Thaws the flags of level 1 and above and fetches for the first time: a stored or embedded
    /// configuration is applied, and the configuration-fetched handler called for it, before this returns.
    /// The network's comes later, on a thread of the library. Then sends the state.
    void setup();

    /// Stops, sends what impressions wait to be sent, and empties the flags repository. Waits a little, far
    /// less than a tenth of a second, for them to be on disk.
    void shutdown();

    /// The client hears of nothing and gives flags nothing any more; no request starts, and what is under way
    /// has no effect. Does not wait.
    void stop();

    /// `source` is empty for an ordinary fetch and "push" for one that the push stream asked for. Does
    /// nothing before the first fetch, which is setup's own.
    void fetchConfigurationFromURLExpanding(const std::optional<std::string>& source);

    /// Applies a configuration, unless it was made for another application.
    void recognizeJson(const KIVConfigurationDataResult::Document& json, bool loadedFromCache);

    /// Tells the service of the flags and properties that are registered. Returns at once.
    void sendState();
    void sendStateAfterRegistration();

    void unfreeze();
    void unfreezeNamespace(const std::string& nameSpace);
    void setGlobalDynamicPropertyContext(KIVDynamicPropertyContext context);

    /// Thaws the flags of level 2 and above and fetches.
    void applicationWillEnterForeground();

    const KIVClientOptions& clientOptions() const { return *parts_.clientOptions; }
    const std::shared_ptr<KIVFeatureFlagsRepository>& flagsRepository() const {
        return parts_.flagsRepository;
    }
    const std::shared_ptr<KIVConfiguration>& configuration() const { return parts_.configuration; }
    const std::shared_ptr<KIVSEGAnalytics>& analytics() const { return analytics_; }
    const std::shared_ptr<KivxParser>& parser() const { return parser_; }
    const std::shared_ptr<KIVFeatureFlagsSetter>& featureFlagSetter() const { return featureFlagSetter_; }

private:
    KIVClient(Parts parts, std::optional<std::string> storedKey);
    void start();
    void observe(std::string_view name, kiv::NotificationCenter::Observer observer);
    void setupWithFreezeLevel(unsigned level, const std::optional<std::string>& source);
    void fetchConfiguration(const std::optional<std::string>& source);
    void postRecognitionWithDataParser(const KIVClientDataParser& dataParser, bool loadedFromCache);
    bool handleTweakBundleWithDataParser(const KIVClientDataParser& dataParser);
    /// Hooks that run after a configuration was applied; the first only for one from the network.
    void onApplicationStart() {}
    void KIV_didFinishLoadingConfiguration() {}
    void setConfiguration();
    void invokeFetchedConfigurationHandler(const KIVConfigurationDataResult& result, bool isPush);
    void startOrStopPushUpdatesListener(bool isPush);
    void stopPushUpdatesListener();
    void postState(std::string_view caller);
    void debounceSendState();

    const Parts parts_;
    std::shared_ptr<KIVTargetGroupLinkArchiver> targetGroupLinkArchiver_;
    std::shared_ptr<KivxParser> parser_;
    std::shared_ptr<KIVSEGAnalytics> analytics_;
    std::shared_ptr<KIVFeatureFlagsSetter> featureFlagSetter_;
    std::shared_ptr<KIVConfigurationFetcher> productionConfigurationFetcher_;
    std::shared_ptr<KIVStateSender> stateSender_; ///< for the key of this client
    std::atomic<bool> isSetUp_{false};
    std::atomic<bool> isStateWaiting_{false}; ///< a send was asked for and has not been built
    std::mutex listenerLock_;
    std::unique_ptr<KIVNotificationListener> notificationListener_; ///< null while push updates are off
    std::mutex debounceLock_;
    std::chrono::steady_clock::time_point cancelUntil_; ///< no send is collected for before then
    kiv::Timer debounceTimer_;
    std::mutex observersLock_;
    std::vector<kiv::NotificationCenter::Token> observers_;
};
