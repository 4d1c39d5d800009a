#include <kiv/KIVCore.h>

#include <kiv/KIVFlagsOverrides.h>
#include <kiv/KIVFlagsViewController.h>
#include <kiv/KIVNamedOperations.h>

#include "Core/KIVCoreInstance.h"
#include "CorvaneClient/KIVClient.h"
#include "Flags/KIVFeatureFlagsSetter.h"
#include "Model/KeyForm.h"
#include "Runtime/KIVDebugger.h"

namespace {

KIVCoreInstance& instance() { return KIVCoreInstance::getInstance(); }

void addProperty(std::shared_ptr<KIVCustomProperty> property) {
    instance().propertiesRepository()->addCustomProperty(std::move(property));
}

template <class Result>
void addOperation(const char* name, Result (*operation)()) {
    KIVNamedOperations::shared().addClassOperation("KIVCore", name, [operation]() -> std::any {
        if constexpr (std::is_void_v<Result>) {
            operation();
            return {};
        } else {
            return operation();
        }
    });
}

/// Registers the facade's operations without arguments, so that a wrapper in another language can call them
/// by name.
void addOperations() {
    using Overrides = std::shared_ptr<KIVFlagsOverrides>;
    static const bool added = [] {
        KIVNamedOperations::shared().addInstanceOperation(
            typeid(Overrides), "clearOverrides", [](const std::any& object) {
                if (const auto& overrides = std::any_cast<const Overrides&>(object)) {
                    overrides->clearOverrides();
                }
                return std::any();
            });
        addOperation("state", &KIVCore::state);
        addOperation("shutdown", &KIVCore::shutdown);
        addOperation("reset", &KIVCore::reset);
        addOperation("fetch", &KIVCore::fetch);
        addOperation("unfreeze", &KIVCore::unfreeze);
        addOperation("flags", &KIVCore::flags);
        addOperation("overrides", &KIVCore::overrides);
        addOperation("flagsViewController", &KIVCore::flagsViewController);
        addOperation("dynamicAPI", &KIVCore::dynamicAPI);
        addOperation("currentSDKKey", &KIVCore::currentSDKKey);
        addOperation("isVersionSwitchedOff", &KIVCore::isVersionSwitchedOff);
        addOperation("flagsRepository", &KIVCore::flagsRepository);
        addOperation("propertiesRepository", &KIVCore::propertiesRepository);
        addOperation("targetGroupRepository", &KIVCore::targetGroupRepository);
        addOperation("errorInvoker", &KIVCore::errorInvoker);
        return true;
    }();
    static_cast<void>(added);
}

void sendStateAfterRegistration() {
    if (const auto client = instance().client()) {
        client->sendStateAfterRegistration();
    }
}

} // namespace

void KIVCore::setupWithKey(KIVNullableString key) { setupWithKey(key, KIVOptions()); }

void KIVCore::setupWithKey(KIVNullableString key, KIVOptions options) {
    setupWithKey(key, std::move(options), "Objective-C", "Objective-C");
}

void KIVCore::setupWithKey(KIVNullableString key, KIVOptions options, const std::string&,
                           const std::string&) {
    instance().setup(key.view(), std::move(options));
}

unsigned KIVCore::state() { return instance().state(); }

void KIVCore::switchToSDKKey(KIVNullableString key) {
    if (!key.isNil() && KIVCoreInstance::exists()) {
        instance().switchToSDKKey(key.string());
    }
}

void KIVCore::shutdown() {
    const unsigned present = state();
    if (present != 2 && present != 4) {
        KIV_DEBUG_LOG("Kiv can only be shutdown when it is already Set up, skipping Shutdown");
        return;
    }
    reset();
}

void KIVCore::resumeAfterFork() { KIVCoreInstance::getInstance().resumeAfterFork(); }

void KIVCore::reset() { instance().reset(); }

void KIVCore::register_(std::shared_ptr<KIVBaseContainer> container) { register_("", std::move(container)); }

void KIVCore::register_(KIVNullableString nameSpace, std::shared_ptr<KIVBaseContainer> container) {
    instance().classRegister().handleContainer(container, nameSpace);
    sendStateAfterRegistration();
}

void KIVCore::handleNamespace(KIVNullableString nameSpace) {
    instance().classRegister().handleNamespace(nameSpace);
    sendStateAfterRegistration();
}

void KIVCore::setCustomStringProperty(KIVNonnullString value, KIVNonnullString key) {
    addProperty(KIVCustomProperty::withStringValue(key.string(), value.string()));
}

void KIVCore::setCustomComputedStringProperty(KIVStringBlock block, KIVNonnullString key) {
    addProperty(KIVCustomProperty::withStringBlock(key.string(), std::move(block)));
}

void KIVCore::setCustomBooleanProperty(bool value, KIVNonnullString key) {
    addProperty(KIVCustomProperty::withBoolValue(key.string(), value));
}

void KIVCore::setCustomComputedBooleanProperty(KIVBoolBlock block, KIVNonnullString key) {
    addProperty(KIVCustomProperty::withBoolBlock(key.string(), std::move(block)));
}

void KIVCore::setCustomIntProperty(std::int32_t value, KIVNonnullString key) {
    addProperty(KIVCustomProperty::withIntValue(key.string(), value));
}

void KIVCore::setCustomComputedIntProperty(KIVIntBlock block, KIVNonnullString key) {
    addProperty(KIVCustomProperty::withIntBlock(key.string(), std::move(block)));
}

void KIVCore::setCustomDoubleProperty(double value, KIVNonnullString key) {
    addProperty(KIVCustomProperty::withDoubleValue(key.string(), value));
}

void KIVCore::setCustomComputedDoubleProperty(KIVDoubleBlock block, KIVNonnullString key) {
    addProperty(KIVCustomProperty::withDoubleBlock(key.string(), std::move(block)));
}

void KIVCore::setCustomSemverProperty(KIVNonnullString value, KIVNonnullString key) {
    addProperty(KIVCustomProperty::withSemverValue(key.string(), value.string()));
}

void KIVCore::setCustomComputedSemverProperty(KIVStringBlock block, KIVNonnullString key) {
    addProperty(KIVCustomProperty::withSemverBlock(key.string(), std::move(block)));
}

void KIVCore::setCustomDateTimeProperty(KIVDate value, KIVNonnullString key) {
    addProperty(KIVCustomProperty::withDateTimeValue(key.string(), value));
}

void KIVCore::setCustomComputedDateTimeProperty(KIVDateBlock block, KIVNonnullString key) {
    addProperty(KIVCustomProperty::withDateTimeBlock(key.string(), std::move(block)));
}

void KIVCore::setGlobalDynamicPropertyContext(KIVDynamicPropertyContext context) {
    if (const auto client = instance().client()) {
        client->setGlobalDynamicPropertyContext(std::move(context));
    }
}

void KIVCore::setVariant(std::shared_ptr<KIVString> flag, KIVNonnullString key) {
    if (!flag) {
        throw KIVException::invalidArgument("A flag to add cannot be nil");
    }
    instance().setVariant(std::move(flag), key.string());
}

std::shared_ptr<KIVString> KIVCore::variantWithKey(KIVNonnullString key) {
    return instance().currentFlagsRepository()->featureWithName(key.view());
}

std::vector<std::shared_ptr<KIVString>> KIVCore::flags() {
    std::vector<std::shared_ptr<KIVString>> all;
    for (auto& [name, flag] : instance().flagsRepository()->features()) {
        all.push_back(flag);
    }
    return all;
}

std::shared_ptr<KIVDynamicAPI> KIVCore::dynamicAPI() { return instance().dynamicAPI(); }

void KIVCore::fetch() {
    if (const auto client = instance().client()) {
        client->fetchConfigurationFromURLExpanding(std::nullopt);
    }
}

void KIVCore::unfreeze() {
    if (const auto client = instance().client()) {
        client->unfreeze();
    }
}

void KIVCore::unfreezeNamespace(KIVNonnullString nameSpace) {
    if (const auto client = instance().client()) {
        client->unfreezeNamespace(nameSpace.string());
    }
}

std::shared_ptr<KIVFlagsOverrides> KIVCore::overrides() {
    const auto client = instance().client();
    return client ? client->featureFlagSetter()->overrides() : nullptr;
}

std::shared_ptr<KIVFlagsViewController> KIVCore::flagsViewController() {
    return isVersionSwitchedOff() ? nullptr : instance().flagsViewController();
}

void KIVCore::setUserspaceUnhandledErrorHandler(
    std::function<void(unsigned source, const KIVException& exception)> handler) {
    instance().errorInvoker()->setHandler(std::move(handler));
}

std::optional<std::string> KIVCore::currentSDKKey() { return instance().currentSDKKey(); }

bool KIVCore::isUUIDKey(KIVNullableString key) { return kiv::isUuidForm(key.view()); }

bool KIVCore::isMongoAppKey(KIVNullableString key) { return kiv::isApplicationKeyForm(key.view()); }

bool KIVCore::isVersionSwitchedOff() { return KIVCoreInstance::isVersionSwitchedOff(); }

std::any KIVCore::run(const std::string& method, const std::any& object) {
    addOperations();
    return KIVNamedOperations::shared().callInstanceOperation(object, method);
}

std::any KIVCore::getObjectFromClass(const std::string& className, const std::string& staticFunction) {
    addOperations();
    return KIVNamedOperations::shared().callClassOperation(className, staticFunction);
}

std::any KIVCore::getObjectFromClass(const std::string& className, const std::string& staticFunction,
                                     const std::string& instanceFunction) {
    return run(instanceFunction, getObjectFromClass(className, staticFunction));
}

std::shared_ptr<KIVFeatureFlagsRepository> KIVCore::flagsRepository() { return instance().flagsRepository(); }

std::shared_ptr<KIVFeatureFlagsRepository> KIVCore::flagsRepositoryForSDKKey(KIVNullableString key) {
    return key.isNil() ? flagsRepository() : instance().flagsRepositoryForSDKKey(key.view());
}

std::shared_ptr<KIVCustomPropertiesRepository> KIVCore::propertiesRepository() {
    return instance().propertiesRepository();
}

std::shared_ptr<KIVTargetGroupRepository> KIVCore::targetGroupRepository() {
    return instance().targetGroupRepository();
}

std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> KIVCore::errorInvoker() {
    return instance().errorInvoker();
}
