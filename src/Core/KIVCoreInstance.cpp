#include "Core/KIVCoreInstance.h"

#include <kiv/KIVException.h>
#include <kiv/KIVFlagsViewController.h>
#include <kiv/NotificationCenter.h>

#include "CorvaneClient/KIVClient.h"
#include "Flags/KIVFeatureFlagsSetter.h"
#include "Model/KeyForm.h"
#include "Model/StoredKey.h"
#include "Platform/Host/UserDefaults.h"
#include "Platform/Threads/Fork.h"
#include "Runtime/KIVDebugger.h"

namespace {

enum State : unsigned { idle = 0, settingUp = 1, setUp = 2, shuttingDown = 3, failed = 4 };

constexpr const char* supportAddress = "support@kiv.example";

std::atomic<bool> created{false};

void setupGlobalDebugLevels(const KIVOptions& options) {
    kivDebuggerVerbose.store(options.verbose == 1, std::memory_order_relaxed);
    setKivDebuggerDisableByFile(options.silentFiles);
}

} // namespace

KIVCoreInstance& KIVCoreInstance::getInstance() {
    static KIVCoreInstance& instance = *new KIVCoreInstance;
    return instance;
}

KIVCoreInstance::KIVCoreInstance()
    : flagsRepository_(std::make_shared<KIVFeatureFlagsRepository>()),
      propertiesRepository_(std::make_shared<KIVCustomPropertiesRepository>()),
      targetGroupRepository_(std::make_shared<KIVTargetGroupRepository>()),
      errorInvoker_(std::make_shared<KIVUserspaceUnhandledErrorInvoker>()),
      classRegister_([this](auto flag, const std::string& name) { addFlag(std::move(flag), name); }),
      dynamicAPI_(std::make_shared<KIVDynamicAPI>(
          [this](std::string_view name) { return findFlag(name); },
          [this](auto flag, const std::string& name) { addFlagIfNone(std::move(flag), name); })) {
    created = true;
    kiv::inEachForkedChild([this] { afterFork(); });
}

bool KIVCoreInstance::exists() { return created; }

bool KIVCoreInstance::isVersionSwitchedOff() {
    return kiv::UserDefaults::standard().string("KIVC_switchedOffVersion") == KIVC_buildNumber;
}

void KIVCoreInstance::setup(std::string_view key, KIVOptions options) {
    const std::string keyText(key);
    const std::lock_guard setupLock(setupLocks_.front());
    if (devicePropertiesForSDKKey(keyText)) {
        KIV_DEBUG_LOG("KIV SDK key %@ was already initialized, skipping Setup", keyText);
        return;
    }
    if (state() == failed) {
        reset();
    }
    if (state() == idle) {
        state_ = settingUp;
    }
    const unsigned resets = resets_;
    try {
        setupInternal(keyText, options);
    } catch (...) {
        state_ = failed;
        KIV_DEBUG_LOG("Error: setupWithKey failed for SDK key %@: %@", keyText,
                      KIVException::current().what());
        throw;
    }
    if (resets == resets_) {
        state_ = setUp;
    } // otherwise a callback of this setup has shut the library down, which has set the state
}

void KIVCoreInstance::setupInternal(const std::string& key, const KIVOptions& options) {
    if (!kiv::isUuidForm(key) && !kiv::isApplicationKeyForm(key)) {
        throw KIVException("wrong apiKey format", "Please enter a valid apiKey");
    }
    if (isVersionSwitchedOff()) {
        kiv::plainLog(
            kiv::format("Current KIV SDK version (%@) was switched off for this app, please contact ",
                        KIVC_buildNumber) +
            supportAddress);
        return;
    }
    setupGlobalDebugLevels(options);
    setupInstance(key, options);
}

void KIVCoreInstance::setupInstance(const std::string& key, const KIVOptions& options) {
    state_ = setUp;
    if (flagsRepositoryForSDKKey(key) != flagsRepository_) {
        KIV_DEBUG_LOG("KIVCore: Reusing existing flags repository for SDK key: %@", key);
    }
    makeCurrent(key);
    // Making device properties announces properties: observers may register flags, and may set up another
    // key.
    const auto flagsBefore = flagsRepository_->version();
    const auto deviceProperties = takeDeviceProperties(key, options);
    const auto stored = kiv::storedSDKKey();
    const auto served =
        stored && *stored != key ? devicePropertiesToServe(*stored, options) : deviceProperties;
    if (currentSDKKey() != key || flagsRepository_->version() != flagsBefore) {
        makeCurrent(key);
    }
    {
        const kiv::WriterLock lock(fieldsLock_);
        deviceProperties_ = deviceProperties;
    }
    // Other threads may hold the present client for a while yet. It stops giving flags their experiments
    // before the next client starts to.
    if (const auto present = this->client()) {
        present->stop();
        endFlagsScreens();
    }
    startClient({.deviceProperties = served, .storedKey = stored, .options = options});
}

void KIVCoreInstance::startClient(ClientParameters parameters, const KIVClient* ofParent) {
    KIV_DEBUG_LOG("options=%@, configurationOrNil=%@", "<KIVOptions>", "(null)");
    const auto client = isVersionSwitchedOff() ? nullptr : makeClient(parameters, *this);
    if (client && ofParent) {
        client->takeOverFrom(*ofParent);
    }
    std::shared_ptr<KIVClient> replaced = client;
    std::optional<ClientParameters> former(std::move(parameters));
    {
        const kiv::WriterLock lock(fieldsLock_);
        client_.swap(replaced);
        clientParameters_.swap(former);
        hasClientEnded_ = false;
    }
    replaced.reset();
    if (client) {
        client->setup();
    }
}

/// In a child, before its fork returns.
void KIVCoreInstance::afterFork() {
    if (setupLocks_.front().try_lock()) {
        setupLocks_.front().unlock();
        return;
    }
    // Another thread of the parent was setting up or shutting down, and did not get to its end here.
    setupLocks_.emplace_front();
    state_ = client_ ? setUp : idle;
    if (!client_) {
        devicePropertiesPerSDKKey_.clear(); // its key may be set up
    }
}

void KIVCoreInstance::resumeAfterFork() {
    const std::lock_guard setupLock(setupLocks_.front());
    if (!kiv::isSilentFork()) {
        return;
    }
    // While the child is silent, the parent's client stops without touching what is the parent's: its
    // requests, its queue of impressions, its files.
    const auto parents = client();
    if (parents) {
        parents->stop();
        endFlagsScreens();
    }
    kiv::endForkSilence();
    std::optional<ClientParameters> parameters;
    {
        const kiv::WriterLock lock(fieldsLock_);
        parameters = clientParameters_;
    }
    if (parents && parameters && state() == setUp) {
        startClient(std::move(*parameters), parents.get());
    }
}

void KIVCoreInstance::makeCurrent(const std::string& key) {
    const kiv::WriterLock lock(fieldsLock_);
    currentSDKKey_ = key;
    filledFlagsRepository(key);
}

std::shared_ptr<KIVFeatureFlagsRepository> KIVCoreInstance::takeFlagsRepository(const std::string& key) {
    const kiv::WriterLock lock(fieldsLock_);
    return filledFlagsRepository(key);
}

/// The caller holds `fieldsLock_`. Puts all shared flags into the key's repository: a flag that was
/// registered while the repository was not in use is missing there, and a shutdown empties it.
const std::shared_ptr<KIVFeatureFlagsRepository>&
KIVCoreInstance::filledFlagsRepository(const std::string& key) {
    auto& repository = flagsRepositoriesPerSDKKey_[key];
    if (!repository) {
        repository = std::make_shared<KIVFeatureFlagsRepository>();
    }
    repository->takeAll(*flagsRepository_);
    publishCurrentFlags();
    return repository;
}

/// The caller holds `fieldsLock_`, and has changed the current key or its repository.
void KIVCoreInstance::publishCurrentFlags() {
    const auto found = currentSDKKey_ ? flagsRepositoriesPerSDKKey_.find(*currentSDKKey_)
                                      : flagsRepositoriesPerSDKKey_.end();
    const bool hasOwn = found != flagsRepositoriesPerSDKKey_.end();
    currentFlags_.store(hasOwn ? found->second.get() : flagsRepository_.get(), std::memory_order_seq_cst);
}

std::shared_ptr<KIVDeviceProperties> KIVCoreInstance::takeDeviceProperties(const std::string& key,
                                                                           const KIVOptions& options) {
    if (auto present = devicePropertiesForSDKKey(key)) {
        KIV_DEBUG_LOG("KIVCore: Reusing existing device properties for SDK key: %@, BUID: %@", key,
                      present->buid());
        return present;
    }
    auto made = std::make_shared<KIVDeviceProperties>(key, options.customSigningCertificate,
                                                      propertiesRepository_, flagsRepositoryForSDKKey(key));
    const kiv::WriterLock lock(fieldsLock_);
    return devicePropertiesPerSDKKey_.emplace(key, std::move(made)).first->second;
}

std::shared_ptr<KIVDeviceProperties> KIVCoreInstance::devicePropertiesToServe(const std::string& storedKey,
                                                                              const KIVOptions& options) {
    auto flags = takeFlagsRepository(storedKey);
    auto present = devicePropertiesForSDKKey(storedKey);
    return present ? present
                   : std::make_shared<KIVDeviceProperties>(storedKey, options.customSigningCertificate,
                                                           propertiesRepository_, std::move(flags));
}

std::shared_ptr<KIVDeviceProperties> KIVCoreInstance::devicePropertiesForSDKKey(std::string_view key) const {
    const kiv::WriterLock lock(fieldsLock_);
    const auto found = devicePropertiesPerSDKKey_.find(key);
    return found == devicePropertiesPerSDKKey_.end() ? nullptr : found->second;
}

void KIVCoreInstance::reset() {
    const std::lock_guard setupLock(setupLocks_.front());
    ++resets_;
    state_ = shuttingDown;
    if (const auto present = client()) {
        present->shutdown();
    }
    endFlagsScreens();
    std::optional<ClientParameters> released;
    {
        const kiv::WriterLock lock(fieldsLock_);
        released.swap(clientParameters_);
    }
    state_ = idle;
}

void KIVCoreInstance::switchToSDKKey(const std::string& key) {
    if (!kiv::storeSDKKey(key)) {
        KIV_DEBUG_LOG("could not store the current SDK key");
    }
    std::shared_ptr<KIVFeatureFlagsRepository> flags;
    {
        const kiv::WriterLock lock(fieldsLock_);
        currentSDKKey_ = key;
        if (const auto found = devicePropertiesPerSDKKey_.find(key);
            found != devicePropertiesPerSDKKey_.end()) {
            deviceProperties_ = found->second;
        }
        if (const auto found = flagsRepositoriesPerSDKKey_.find(key);
            found != flagsRepositoriesPerSDKKey_.end()) {
            flags = found->second;
        }
        publishCurrentFlags();
    }
    if (flags) {
        flags->logRepositoryState("After SDK key switch");
    }
}

std::optional<std::string> KIVCoreInstance::currentSDKKey() const {
    const kiv::WriterLock lock(fieldsLock_);
    return currentSDKKey_;
}

std::shared_ptr<KIVClient> KIVCoreInstance::client() const {
    const kiv::WriterLock lock(fieldsLock_);
    return client_;
}

std::shared_ptr<KIVFlagsViewController> KIVCoreInstance::flagsViewController() {
    const kiv::WriterLock lock(fieldsLock_);
    if (!client_) {
        return nullptr;
    }
    std::erase_if(flagsScreens_, [](const auto& screen) { return screen.expired(); });
    auto screen = std::make_shared<KIVFlagsViewController>(
        client_->featureFlagSetter(), client_->configuration(), client_->flagsRepository());
    if (hasClientEnded_) {
        screen->end();
    }
    flagsScreens_.push_back(screen);
    return screen;
}

void KIVCoreInstance::endFlagsScreens() {
    std::vector<std::weak_ptr<KIVFlagsViewController>> ended;
    {
        const kiv::WriterLock lock(fieldsLock_);
        ended.swap(flagsScreens_);
        hasClientEnded_ = true;
    }
    for (const auto& each : ended) {
        if (const auto screen = each.lock()) {
            screen->end();
        }
    }
}

std::shared_ptr<KIVDeviceProperties> KIVCoreInstance::deviceProperties() const {
    const kiv::WriterLock lock(fieldsLock_);
    return deviceProperties_;
}

std::shared_ptr<KIVFeatureFlagsRepository> KIVCoreInstance::currentFlagsRepository() const {
    const auto key = currentSDKKey();
    return key ? flagsRepositoryForSDKKey(*key) : flagsRepository_;
}

std::shared_ptr<KIVFeatureFlagsRepository>
KIVCoreInstance::flagsRepositoryForSDKKey(std::string_view key) const {
    const kiv::WriterLock lock(fieldsLock_);
    const auto found = flagsRepositoriesPerSDKKey_.find(key);
    return found == flagsRepositoriesPerSDKKey_.end() ? flagsRepository_ : found->second;
}

std::shared_ptr<KIVString> KIVCoreInstance::findFlag(std::string_view name) const {
    auto flag = currentFlagsRepository()->featureWithName(name);
    return flag ? flag : flagsRepository_->featureWithName(name);
}

const KIVString* KIVCoreInstance::borrowFlag(std::string_view name) const {
    const KIVFeatureFlagsRepository* current = currentFlags_.load(std::memory_order_seq_cst);
    const auto* flag = current->borrow(name);
    return flag || current == flagsRepository_.get() ? flag : flagsRepository_->borrow(name);
}

void KIVCoreInstance::setVariant(std::shared_ptr<KIVString> flag, const std::string& name) {
    const auto flags = currentFlagsRepository();
    if (const auto client = this->client(); client && client->flagsRepository() == flags) {
        client->featureFlagSetter()->prepare(*flag, name);
    }
    flags->addFeature(std::move(flag), name);
}

void KIVCoreInstance::addFlag(std::shared_ptr<KIVString> flag, const std::string& name) {
    {
        const kiv::WriterLock lock(fieldsLock_);
        takeFlag(flag, name);
    }
    kiv::NotificationCenter::defaultCenter().post(KIVFlagAddedNotification, flag);
}

void KIVCoreInstance::addFlagIfNone(std::shared_ptr<KIVString> flag, const std::string& name) {
    {
        const kiv::WriterLock lock(fieldsLock_);
        if (flagsRepository_->featureWithName(name)) {
            return;
        }
        takeFlag(flag, name);
    }
    kiv::NotificationCenter::defaultCenter().post(KIVFlagAddedNotification, flag);
}

/// The caller holds `fieldsLock_`. A key's repository takes the shared flags under the same lock, so it
/// misses no flag.
void KIVCoreInstance::takeFlag(const std::shared_ptr<KIVString>& flag, const std::string& name) {
    if (client_) {
        client_->featureFlagSetter()->prepare(*flag, name);
    }
    flagsRepository_->takeFeature(flag, name);
    const auto current = currentSDKKey_ ? flagsRepositoriesPerSDKKey_.find(*currentSDKKey_)
                                        : flagsRepositoriesPerSDKKey_.end();
    if (current != flagsRepositoriesPerSDKKey_.end()) {
        current->second->takeFeature(flag, name);
    }
    // The client may work for another key than the current one: the key stored at an earlier launch.
    if (client_) {
        client_->flagsRepository()->takeFeature(flag, name);
    }
}
