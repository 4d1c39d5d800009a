#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Flags/KIVFeatureFlagsRepository.h"
#include "Platform/Text/Json.h"
#include "Properties/KIVCustomPropertiesRepository.h"
#include "Reporting/KIVDevicePropertyKeys.h"
#include "Reporting/KIVState.h"

/// What the library knows about the device, the application and itself, for one SDK key: the facts, which are
/// read once, and the state, which adds the lists of flags and properties to them (`KIVState`).
///
/// Callable from any thread.
class KIVDeviceProperties {
public:
    using Object = kiv::json::object;

    KIVDeviceProperties() = delete;

    /// Reads the host as it is now, and adds the built-in "kiv." properties that the repository lacks; the
    /// repository announces each of them. `customSigningCertificate` is the text given at setup, nullopt for
    /// the built-in certificate.
    KIVDeviceProperties(std::string sdkKey, const std::optional<std::string>& customSigningCertificate,
                        std::shared_ptr<KIVCustomPropertiesRepository> propertiesRepository,
                        std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository);
    KIVDeviceProperties(std::string key, const std::optional<std::string>& customSigningCertificate,
                        std::shared_ptr<KIVCustomPropertiesRepository> propertiesRepository,
                        std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository,
                        std::string platformVersion, std::string languageVersion);

    /// Sets and announces the "kiv.internal." properties, which are for the service's own expressions.
    void addInternalProperties() const;

    /// The state: facts, lists, texts and hash, with all that has been registered by now. Never null; does
    /// not change.
    std::shared_ptr<const Object> allProperties() const { return state_.document(); }
    Object getPropsCopy() const { return *allProperties(); }

    /// These three bring the state up to date. `allProperties` does so too, so nobody needs to call them
    /// first.
    void updateDevicePropsAfterAddedProperty() const { syncAndUpdateDevicePropsAfterObjectChange(); }
    void updateDevicePropsAfterAddedFlag() const { syncAndUpdateDevicePropsAfterObjectChange(); }
    void syncAndUpdateDevicePropsAfterObjectChange() const { allProperties(); }

    const std::string& appKey() const { return kivKey_; }
    const std::string& distinctId() const { return distinctId_; }
    /// The environment variable KIV_DEV_MODE_SECRET; nullopt when it is not set.
    const std::optional<std::string>& devModeSecret() const { return devModeSecret_; }
    /// The version of a wrapper in another language; empty when there is no wrapper.
    const std::string& swiftVersion() const { return swiftVersion_; }
    const std::string& platformVersion() const { return platformVersion_; }
    const std::string& languageVersion() const { return languageVersion_; }
    std::string platform() const { return fact(KIVC_DEVICE_PROPERTIES_PLATFORM); }
    std::string libVersion() const { return fact(KIVC_DEVICE_PROPERTIES_LIB_VERSION); }
    std::string apiVersion() const { return fact(KIVC_DEVICE_PROPERTIES_API_VERSION); }
    std::string osVersion() const { return fact(KIVC_DEVICE_PROPERTIES_OS_VERSION); }
    std::string appShortVersion() const { return fact(KIVC_DEVICE_PROPERTIES_VERSION_NAME); }

    /// The hash that names this device's configuration on the CDN.
    std::string buid() const { return fact(KIVC_DEVICE_PROPERTIES_BUID); }

    /// The `buid` of every application that sets up this version of the library with `sdkKey` and
    /// `customSigningCertificate`.
    static std::string buidFor(const std::string& sdkKey,
                               const std::optional<std::string>& customSigningCertificate);

    /// The hash of the state: it changes with the flags, the properties, the key and the platform.
    std::string stateMd5() const;

    /// Sets the member "distinct_id" of `params`.
    void addDistinctIdToParams(Object& params) const;

private:
    Object createAllProperties(const std::optional<std::string>& customSigningCertificate) const;
    void addBuiltInProperties() const;
    std::string fact(const char* key) const { return std::string(state_.facts().at(key).as_string()); }

    const std::string kivKey_;
    const std::string platformVersion_;
    const std::string languageVersion_;
    const std::optional<std::string> devModeSecret_;
    const std::string swiftVersion_;
    const std::string distinctId_;
    const std::shared_ptr<KIVCustomPropertiesRepository> propertiesRepository_;
    const KIVState state_;
};
