#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Flags/KIVFeatureFlagsRepository.h"
#include "Platform/Text/Json.h"
#include "Properties/KIVCustomPropertiesRepository.h"
#include "Reporting/KIVDevicePropertyKeys.h"

/// What the library knows about the device, the application and itself, for one SDK key: the facts, which are
/// read once, and the lists of flags and properties with the hash over them.
///
/// Callable from any thread. The lists are built when somebody asks, not at each registration.
class KIVDeviceProperties {
public:
    using Object = kiv::json::object;

    KIVDeviceProperties() = delete;

    /// Reads the host as it is now, and adds the built-in "kiv." properties that the repository lacks, which
    /// announces each of them. `customSigningCertificate` is the text given at setup; without one the
    /// built-in one counts.
    KIVDeviceProperties(std::string sdkKey, const std::optional<std::string>& customSigningCertificate,
                        std::shared_ptr<KIVCustomPropertiesRepository> propertiesRepository,
                        std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository);
    KIVDeviceProperties(std::string key, const std::optional<std::string>& customSigningCertificate,
                        std::shared_ptr<KIVCustomPropertiesRepository> propertiesRepository,
                        std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository,
                        std::string platformVersion, std::string languageVersion);

    /// Sets the "kiv.internal." properties, which are for the service's own expressions, and announces them.
    void addInternalProperties() const;

    /// Facts, lists, texts and hash, with all that has been registered by now. Never null; does not change.
    std::shared_ptr<const Object> allProperties() const;
    Object getPropsCopy() const { return *allProperties(); }

    /// Bring lists, texts and hash up to date. Nobody needs to ask for it before reading them.
    void updateDevicePropsAfterAddedProperty() const { syncAndUpdateDevicePropsAfterObjectChange(); }
    void updateDevicePropsAfterAddedFlag() const { syncAndUpdateDevicePropsAfterObjectChange(); }
    void syncAndUpdateDevicePropsAfterObjectChange() const { allProperties(); }

    const std::string& appKey() const { return kivKey_; }
    const std::string& distinctId() const { return distinctId_; }
    /// The value of KIV_DEV_MODE_SECRET in the environment.
    const std::optional<std::string>& devModeSecret() const { return devModeSecret_; }
    /// What the wrapper in another language says of itself; empty without one.
    const std::string& swiftVersion() const { return swiftVersion_; }
    const std::string& platformVersion() const { return platformVersion_; }
    const std::string& languageVersion() const { return languageVersion_; }
    std::string platform() const { return fact(KIVC_DEVICE_PROPERTIES_PLATFORM); }
    std::string libVersion() const { return fact(KIVC_DEVICE_PROPERTIES_LIB_VERSION); }
    std::string apiVersion() const { return fact(KIVC_DEVICE_PROPERTIES_API_VERSION); }
    std::string osVersion() const { return fact(KIVC_DEVICE_PROPERTIES_OS_VERSION); }
    std::string appShortVersion() const { return fact(KIVC_DEVICE_PROPERTIES_VERSION_NAME); }

    /// Names the configuration to fetch.
    std::string buid() const { return fact(KIVC_DEVICE_PROPERTIES_BUID); }

    /// The buid of every application that sets up this version of the library with that key and certificate.
    static std::string buidFor(const std::string& sdkKey,
                               const std::optional<std::string>& customSigningCertificate);

    /// Changes when flags, properties, key or platform do.
    std::string stateMd5() const;

    /// Sets the "distinct_id" of the parameters.
    void addDistinctIdToParams(Object& params) const;

private:
    struct Document {
        std::uint64_t version; ///< of the repositories before it was built
        Object all;
    };

    Object createAllProperties(const std::optional<std::string>& customSigningCertificate) const;
    void addBuiltInProperties() const;
    kiv::json::array transformCustomProperties() const;
    kiv::json::array transformFeatureFlags() const;
    std::string fact(const char* key) const { return std::string(facts_.at(key).as_string()); }

    const std::string kivKey_;
    const std::string platformVersion_;
    const std::string languageVersion_;
    const std::optional<std::string> devModeSecret_;
    const std::string swiftVersion_;
    const std::string distinctId_;
    const std::shared_ptr<KIVCustomPropertiesRepository> propertiesRepository_;
    const std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository_;
    const Object facts_;

    mutable std::mutex lock_; ///< for the document below; not held while one is built
    mutable std::shared_ptr<const Document> document_;
};
