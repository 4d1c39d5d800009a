#pragma once

#include <atomic>
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

/// Works for one key: it owns the evaluator and the setter, fetches and applies configurations, sends the
/// state and listens to the push stream. The facade's setup makes it. Callable from any thread.
class KIVClient : public std::enable_shared_from_this<KIVClient> {
public:
    struct Parts {
        /// The key that `switchToSDKKey` has stored, if any. Flags and device properties are then those of
        /// that key.
        std::optional<std::string> storedKey;
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
    };

    /// The client stops observing as soon as its last owner releases it.
    static std::shared_ptr<KIVClient> create(Parts parts);
    ~KIVClient();
    KIVClient(const KIVClient&) = delete;
    KIVClient& operator=(const KIVClient&) = delete;

    /// Thaws the flags of `KIVFreezeUntilUnfreeze` and above, fetches for the first time, and sends the
    /// state. A stored or embedded configuration is applied, and the configuration-fetched handler called for
    /// it, before this returns; the network's configuration is applied later, on a thread of the library.
    void setup();

    /// Stops the client, starts the upload of the waiting impressions, and empties the flags repository.
    /// Waits 100 milliseconds at most for the impressions to be on disk and for the service's answer; does
    /// not wait when no impression waits, or on the library's work thread.
    void shutdown();

    /// From now on the client observes nothing, gives flags no experiments and starts no request; the answer
    /// of a request under way has no effect. Does not wait.
    void stop();

    /// Starts a fetch and returns at once. `source` is nullopt for an ordinary fetch, and "push" for a fetch
    /// that the push stream asked for. Does nothing before setup has made the first fetch.
    void fetchConfigurationFromURLExpanding(const std::optional<std::string>& source);

    /// Applies a configuration, unless it was made for another application.
    void recognizeJson(const KIVConfigurationDataResult::Document& json, bool loadedFromCache);

    /// Both tell the service which flags and properties are registered, and return at once. They differ only
    /// in the name that they write to the debug log.
    void sendState();
    void sendStateAfterRegistration();

    void unfreeze();
    void unfreezeNamespace(const std::string& nameSpace);
    void setGlobalDynamicPropertyContext(KIVDynamicPropertyContext context);

    /// In a child after a fork, before `setup`: takes the global context of its parent's client, and the
    /// overrides that have changed since the fork.
    void takeOverFrom(const KIVClient& parents);

    /// Thaws the flags of `KIVFreezeUntilForeground` and above, and fetches.
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
    explicit KIVClient(Parts parts);
    void start();
    void observe(std::string_view name, kiv::NotificationCenter::Observer observer);
    void setupWithFreezeLevel(unsigned level, const std::optional<std::string>& source);
    void fetchConfiguration(const std::optional<std::string>& source);
    void postRecognitionWithDataParser(const KIVClientDataParser& dataParser, bool loadedFromCache);
    bool handleTweakBundleWithDataParser(const KIVClientDataParser& dataParser);
    /// Hooks after a configuration was applied; `onApplicationStart` only for a configuration from the
    /// network.
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
    std::shared_ptr<KIVStateSender> stateSender_;
    std::atomic<bool> isSetUp_{false};
    std::mutex listenerLock_;
    std::unique_ptr<KIVNotificationListener> notificationListener_; ///< null while push updates are off
    std::mutex observersLock_;
    std::vector<kiv::NotificationCenter::Token> observers_;
};
