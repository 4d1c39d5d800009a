#pragma once

#include <atomic>
#include <forward_list>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <kiv/KIVDynamicAPI.h>
#include <kiv/KIVOptions.h>

#include "Core/ClientParameters.h"
#include "Flags/KIVClassRegister.h"
#include "Flags/KIVFeatureFlagsRepository.h"
#include "Model/KIVTargetGroupRepository.h"
#include "Properties/KIVCustomPropertiesRepository.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Runtime/KIVUserspaceUnhandledErrorInvoker.h"

class KIVClient;
class KIVFlagsViewController;

/// The one object behind the facade: it owns the repositories that all keys share, the repositories and
/// device properties of each key, and the current client. It is made at the first use and never destroyed, so
/// that nothing depends on the order in which a process ends. Callable from any thread.
class KIVCoreInstance {
public:
    static KIVCoreInstance& getInstance();
    /// Whether the one object has been made.
    static bool exists();

    /// Whether the preferences switch this build of the library off for this application.
    static bool isVersionSwitchedOff();

    void setup(std::string_view key, KIVOptions options);
    void reset();
    void resumeAfterFork();
    void switchToSDKKey(const std::string& key);

    unsigned state() const { return state_.load(std::memory_order_seq_cst); }

    const std::shared_ptr<KIVFeatureFlagsRepository>& flagsRepository() const { return flagsRepository_; }
    const std::shared_ptr<KIVCustomPropertiesRepository>& propertiesRepository() const {
        return propertiesRepository_;
    }
    const std::shared_ptr<KIVTargetGroupRepository>& targetGroupRepository() const {
        return targetGroupRepository_;
    }
    const std::shared_ptr<KIVUserspaceUnhandledErrorInvoker>& errorInvoker() const { return errorInvoker_; }
    const std::shared_ptr<KIVDynamicAPI>& dynamicAPI() const { return dynamicAPI_; }
    KIVClassRegister& classRegister() { return classRegister_; }

    std::optional<std::string> currentSDKKey() const;
    std::shared_ptr<KIVClient> client() const;
    /// A new model of the flags screen, for the current client; null when there is no client.
    std::shared_ptr<KIVFlagsViewController> flagsViewController();
    /// The device properties of the current key; null before setup.
    std::shared_ptr<KIVDeviceProperties> deviceProperties() const;

    /// The flags of the current key; before setup, the shared flags.
    std::shared_ptr<KIVFeatureFlagsRepository> currentFlagsRepository() const;
    /// The flags of `key`; the shared flags when the key has no repository of its own.
    std::shared_ptr<KIVFeatureFlagsRepository> flagsRepositoryForSDKKey(std::string_view key) const;

    /// The flag of that name among the current key's flags, or else among the shared flags; null when neither
    /// has one.
    std::shared_ptr<KIVString> findFlag(std::string_view name) const;
    /// The same flag without a share in it, and without a lock. Valid until the caller's `kiv::ReadGuard`
    /// closes.
    const KIVString* borrowFlag(std::string_view name) const;

    /// Adds a flag to the shared flags and to the current key's, and announces it once.
    void addFlag(std::shared_ptr<KIVString> flag, const std::string& name);
    /// Does what `addFlag` does, unless the shared flags have a flag of that name. When two threads read a
    /// new name at once, both then find the flag of the first thread.
    void addFlagIfNone(std::shared_ptr<KIVString> flag, const std::string& name);

    /// Adds a flag to the current key's flags, or to the shared flags before setup, and announces it. `flag`
    /// is not null.
    void setVariant(std::shared_ptr<KIVString> flag, const std::string& name);

private:
    KIVCoreInstance();

    void setupInternal(const std::string& key, const KIVOptions& options);
    void setupInstance(const std::string& key, const KIVOptions& options);
    /// Makes the key current, with a repository that holds all shared flags.
    void makeCurrent(const std::string& key);
    /// The key's repository, with all shared flags.
    std::shared_ptr<KIVFeatureFlagsRepository> takeFlagsRepository(const std::string& key);
    const std::shared_ptr<KIVFeatureFlagsRepository>& filledFlagsRepository(const std::string& key);
    void publishCurrentFlags();
    // No lock is held while device properties are made: observers of the properties that they add may call
    // the facade.
    std::shared_ptr<KIVDeviceProperties> takeDeviceProperties(const std::string& key,
                                                              const KIVOptions& options);
    /// The device properties of the stored key, which need not have been set up in this process.
    std::shared_ptr<KIVDeviceProperties> devicePropertiesToServe(const std::string& storedKey,
                                                                 const KIVOptions& options);
    std::shared_ptr<KIVDeviceProperties> devicePropertiesForSDKKey(std::string_view key) const;
    /// Puts a new client in place of the present one, which has been stopped, and starts it.
    void startClient(ClientParameters parameters, const KIVClient* ofParent = nullptr);
    void afterFork();
    void takeFlag(const std::shared_ptr<KIVString>& flag, const std::string& name);
    /// Ends the flags screens of the present client. A screen made later for that client starts out ended.
    void endFlagsScreens();

    /// The last one is held for the whole of a setup. It is recursive because a callback that runs during
    /// setup may set up too. A fork does not wait for a setup; a child that finds the lock held by another
    /// thread of its parent goes on with a new one.
    std::forward_list<std::recursive_mutex> setupLocks_{1};
    unsigned resets_ = 0; ///< under the setup lock: how often the library was shut down or reset
    std::atomic<unsigned> state_{0};

    const std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository_;
    const std::shared_ptr<KIVCustomPropertiesRepository> propertiesRepository_;
    const std::shared_ptr<KIVTargetGroupRepository> targetGroupRepository_;
    const std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> errorInvoker_;
    KIVClassRegister classRegister_;
    const std::shared_ptr<KIVDynamicAPI> dynamicAPI_;

    mutable std::mutex fieldsLock_; ///< for the fields below; never held while a callback runs
    std::shared_ptr<KIVDeviceProperties> deviceProperties_;
    std::shared_ptr<KIVClient> client_;
    std::optional<ClientParameters> clientParameters_; ///< what `client_` was made from
    std::vector<std::weak_ptr<KIVFlagsViewController>> flagsScreens_;
    bool hasClientEnded_ = false;
    std::map<std::string, std::shared_ptr<KIVDeviceProperties>, std::less<>> devicePropertiesPerSDKKey_;
    std::map<std::string, std::shared_ptr<KIVFeatureFlagsRepository>, std::less<>>
        flagsRepositoriesPerSDKKey_;
    std::optional<std::string> currentSDKKey_;
    /// The repository of `currentSDKKey_`. Repositories live as long as the process.
    std::atomic<const KIVFeatureFlagsRepository*> currentFlags_{flagsRepository_.get()};
};
