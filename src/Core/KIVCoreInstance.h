#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <kiv/KIVDynamicAPI.h>
#include <kiv/KIVOptions.h>

#include "Flags/KIVClassRegister.h"
#include "Flags/KIVFeatureFlagsRepository.h"
#include "Model/KIVTargetGroupRepository.h"
#include "Properties/KIVCustomPropertiesRepository.h"
#include "Reporting/KIVDeviceProperties.h"
#include "Runtime/KIVUserspaceUnhandledErrorInvoker.h"

class KIVClient;
class KIVFlagsViewController;

/// The one object behind the facade: it owns what all keys share, what each key has, and the current client.
/// Made at the first use and never destroyed, so that nothing depends on the order in which a process ends.
class KIVCoreInstance {
public:
    static KIVCoreInstance& getInstance();
    static bool exists();

    void setup(std::string_view key, KIVOptions options);
    void reset();
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
    /// A new flags screen of the current client; null without one.
    std::shared_ptr<KIVFlagsViewController> flagsViewController();
    /// The current key's; null before setup.
    std::shared_ptr<KIVDeviceProperties> deviceProperties() const;

    /// The current key's flags, the shared ones before setup.
    std::shared_ptr<KIVFeatureFlagsRepository> currentFlagsRepository() const;
    /// The key's flags; the shared ones when it has none.
    std::shared_ptr<KIVFeatureFlagsRepository> flagsRepositoryForSDKKey(std::string_view key) const;

    /// The current key's flag of that name, else the shared one, else null.
    std::shared_ptr<KIVString> findFlag(std::string_view name) const;

    /// Takes a flag into the shared flags and into the current key's, and announces it once.
    void addFlag(std::shared_ptr<KIVString> flag, const std::string& name);

private:
    KIVCoreInstance();

    void setupInternal(const std::string& key, KIVOptions options);
    void setupInstance(const std::string& key, const KIVOptions& options);
    std::shared_ptr<KIVFeatureFlagsRepository> takeFlagsRepository(const std::string& key, bool makeCurrent);
    std::shared_ptr<KIVDeviceProperties>
    takeDeviceProperties(const std::string& key, const KIVOptions& options,
                         std::shared_ptr<KIVFeatureFlagsRepository> flags);
    std::shared_ptr<KIVDeviceProperties> devicePropertiesForSDKKey(std::string_view key) const;
    std::shared_ptr<KIVClient> createClient(const KIVOptions& options);
    /// The client that they show has ended: those that are asked for from now on have too.
    void endFlagsScreens();

    /// Held for the whole of a setup; its callbacks may set up again.
    std::recursive_mutex setupLock_;
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
    std::vector<std::weak_ptr<KIVFlagsViewController>> flagsScreens_;
    bool hasClientEnded_ = false;
    std::map<std::string, std::shared_ptr<KIVDeviceProperties>, std::less<>> devicePropertiesPerSDKKey_;
    std::map<std::string, std::shared_ptr<KIVFeatureFlagsRepository>, std::less<>>
        flagsRepositoriesPerSDKKey_;
    std::optional<std::string> currentSDKKey_;
};
