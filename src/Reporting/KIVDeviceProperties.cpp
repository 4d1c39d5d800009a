#include "Reporting/KIVDeviceProperties.h"

#include <any>
#include <cstdlib>
#include <span>
#include <utility>

#include <unicode/uloc.h>

#include <kiv/KIVHost.h>
#include <kiv/KIVNamedOperations.h>

#include "KIVBuildConfig.h"
#include "Model/KeyForm.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/System/Files.h"
#include "Platform/Text/Text.h"
#include "Reporting/KIVUDID.h"
#include "Runtime/Failure.h"
#include "Runtime/KIVDebugger.h"

namespace {

using Object = KIVDeviceProperties::Object;

// The service expects these values, whatever the system is.
constexpr const char* realPlatform = "iOS";
constexpr const char* manufacturer = "Apple";
constexpr const char* apiVersion = "1.9.0";
constexpr const char* ownVersions = "Objective-C";

constexpr const char* buidGenerators[] = {
    KIVC_DEVICE_PROPERTIES_PLATFORM,    KIVC_DEVICE_PROPERTIES_API_VERSION,
    KIVC_DEVICE_PROPERTIES_APP_KEY,     KIVC_DEVICE_PROPERTIES_CUSTOM_SIGNING_CERTIFICATE,
    KIVC_DEVICE_PROPERTIES_LIB_VERSION,
};
std::string joined(std::span<const char* const> texts, const char* separator) {
    std::string all;
    const char* before = "";
    for (const char* text : texts) {
        all += std::exchange(before, separator);
        all += text;
    }
    return all;
}

std::string orUndefined(const std::optional<std::string>& text) {
    return text.value_or(KIVC_DEVICE_PROPERTIES_UNDEFINED);
}

/// The code of one part of a locale's name (language, country), as ICU's function `part` reads it; nullopt
/// when the locale has no such part.
std::optional<std::string> codeOf(const std::optional<std::string>& locale,
                                  std::int32_t (*part)(const char*, char*, std::int32_t, UErrorCode*)) {
    char code[ULOC_FULLNAME_CAPACITY] = "";
    UErrorCode error = U_ZERO_ERROR;
    if (!locale || part(locale->c_str(), code, ULOC_FULLNAME_CAPACITY, &error) <= 0 || U_FAILURE(error)) {
        return std::nullopt;
    }
    return code;
}

std::string certificateHash(const std::optional<std::string>& customSigningCertificate) {
    return kiv::md5Hex(customSigningCertificate.value_or(kiv::build::signingCertificate));
}

std::string yesOrNo(bool answer) { return answer ? "yes" : "no"; }

bool holdsFile(const std::optional<std::string>& directory, const char* name) {
    return directory && kiv::fileExists(*directory + "/" + name);
}

std::optional<std::string> environmentSecret() {
    const char* secret = std::getenv("KIV_DEV_MODE_SECRET");
    return secret ? std::optional<std::string>(secret) : std::nullopt;
}

std::string registeredSwiftVersion() {
    std::string own;
    const auto failure = kiv::failureOf([&] {
        const std::any answer = KIVNamedOperations::shared().callClassOperation("CorvaneSwiftIncludedClass",
                                                                                "CORVANE_swiftVersion");
        if (const auto* version = std::any_cast<std::string>(&answer)) {
            own = *version;
        }
    });
    if (failure) {
        KIV_DEBUG_LOG("CORVANE_swiftVersion failed: %@", failure->what());
    }
    return own;
}

} // namespace

KIVDeviceProperties::KIVDeviceProperties(std::string sdkKey,
                                         const std::optional<std::string>& customSigningCertificate,
                                         std::shared_ptr<KIVCustomPropertiesRepository> propertiesRepository,
                                         std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository)
    : KIVDeviceProperties(std::move(sdkKey), customSigningCertificate, std::move(propertiesRepository),
                          std::move(flagsRepository), ownVersions, ownVersions) {}

KIVDeviceProperties::KIVDeviceProperties(std::string key,
                                         const std::optional<std::string>& customSigningCertificate,
                                         std::shared_ptr<KIVCustomPropertiesRepository> propertiesRepository,
                                         std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository,
                                         std::string platformVersion, std::string languageVersion)
    : kivKey_(std::move(key)), platformVersion_(std::move(platformVersion)),
      languageVersion_(std::move(languageVersion)), devModeSecret_(environmentSecret()),
      swiftVersion_(registeredSwiftVersion()), distinctId_(KIVUDID(kivKey_).distinctId()),
      propertiesRepository_(std::move(propertiesRepository)),
      state_(kivKey_, createAllProperties(customSigningCertificate), propertiesRepository_,
             std::move(flagsRepository)) {
    addBuiltInProperties();
}

Object
KIVDeviceProperties::createAllProperties(const std::optional<std::string>& customSigningCertificate) const {
    const auto host = KIVHost::current();
    const auto points = [&](int KIVHost::Screen::*side) {
        return host->screen ? kiv::integerText((*host->screen).*side) : KIVC_DEVICE_PROPERTIES_UNDEFINED;
    };
    Object all{
        {KIVC_DEVICE_PROPERTIES_REAL_PLATFORM, realPlatform},
        {KIVC_DEVICE_PROPERTIES_PLATFORM_VERSION, platformVersion_},
        {KIVC_DEVICE_PROPERTIES_LANGUAGE_VERSION, languageVersion_},
        {KIVC_DEVICE_PROPERTIES_PLATFORM, realPlatform},
        {KIVC_DEVICE_PROPERTIES_CUSTOM_SIGNING_CERTIFICATE, certificateHash(customSigningCertificate)},
        {KIVC_DEVICE_PROPERTIES_VERSION_NAME, orUndefined(host->shortVersion)},
        {KIVC_DEVICE_PROPERTIES_APP_VERSION, orUndefined(host->version)},
        {KIVC_DEVICE_PROPERTIES_APP_RELEASE, orUndefined(host->shortVersion)},
        {KIVC_DEVICE_PROPERTIES_LIB_VERSION, kiv::build::version},
        {KIVC_DEVICE_PROPERTIES_CORVANE_BUILD, KIVC_buildNumber},
        {KIVC_DEVICE_PROPERTIES_API_VERSION, ::apiVersion},
        {KIVC_DEVICE_PROPERTIES_LANGUAGE, orUndefined(codeOf(host->locale, uloc_getLanguage))},
        {KIVC_DEVICE_PROPERTIES_COUNTRY, orUndefined(codeOf(host->locale, uloc_getCountry))},
        {KIVC_DEVICE_PROPERTIES_MANUFACTURER, manufacturer},
        {KIVC_DEVICE_PROPERTIES_OS, orUndefined(host->systemName)},
        {KIVC_DEVICE_PROPERTIES_OS_VERSION, orUndefined(host->systemVersion)},
        {KIVC_DEVICE_PROPERTIES_MODEL, orUndefined(host->model)},
        {KIVC_DEVICE_PROPERTIES_DEVICE_NAME, orUndefined(host->deviceName)},
        {KIVC_DEVICE_PROPERTIES_SCREEN_HEIGHT, points(&KIVHost::Screen::height)},
        {KIVC_DEVICE_PROPERTIES_SCREEN_WIDTH, points(&KIVHost::Screen::width)},
        {KIVC_DEVICE_PROPERTIES_DISTINCT_ID, distinctId_},
        {KIVC_DEVICE_PROPERTIES_ITUNES_PLIST_FILE_EXISTS,
         yesOrNo(holdsFile(host->homeDirectory, "iTunesMetadata.plist"))},
        {KIVC_DEVICE_PROPERTIES_EMBEDDED_MOBILEPROVISION_FILE_EXISTS,
         yesOrNo(holdsFile(host->resourceDirectory, "embedded.mobileprovision"))},
        {KIVC_DEVICE_PROPERTIES_APP_KEY, kivKey_},
    };
    if (devModeSecret_) {
        all[KIVC_DEVICE_PROPERTIES_DEV_MODE_SECRET] = *devModeSecret_;
    }
    all[KIVC_DEVICE_PROPERTIES_USER_INTERFACE_IDIOM] = host->idiom.value_or("unspecified");
    all[KIVC_DEVICE_PROPERTIES_BUID_GENERATORS_LIST] = joined(buidGenerators, ",");
    const std::string buid = buidFor(kivKey_, customSigningCertificate);
    all[KIVC_DEVICE_PROPERTIES_BUID] = buid;
    all[KIVC_DEVICE_PROPERTIES_CACHE_MISS_RELATIVE_URL] = kiv::format("%@/%@", kivKey_, buid);
    return all;
}

std::string KIVDeviceProperties::buidFor(const std::string& sdkKey,
                                         const std::optional<std::string>& customSigningCertificate) {
    return KIVState::createHashWithGeneratorsList(
        buidGenerators,
        {{KIVC_DEVICE_PROPERTIES_PLATFORM, realPlatform},
         {KIVC_DEVICE_PROPERTIES_API_VERSION, ::apiVersion},
         {KIVC_DEVICE_PROPERTIES_APP_KEY, sdkKey},
         {KIVC_DEVICE_PROPERTIES_CUSTOM_SIGNING_CERTIFICATE, certificateHash(customSigningCertificate)},
         {KIVC_DEVICE_PROPERTIES_LIB_VERSION, kiv::build::version}});
}

void KIVDeviceProperties::addBuiltInProperties() const {
    const auto add = [&](const KIVCustomProperty& property) {
        propertiesRepository_->addCustomPropertyIfNotExists(
            std::make_shared<const KIVDeviceProperty>(property));
    };
    using Property = KIVCustomProperty;
    add(*Property::withStringValue("platform", fact(KIVC_DEVICE_PROPERTIES_PLATFORM)));
    add(*Property::withSemverValue("os_version", fact(KIVC_DEVICE_PROPERTIES_OS_VERSION)));
    add(*Property::withSemverValue("app_release", fact(KIVC_DEVICE_PROPERTIES_APP_RELEASE)));
    add(*Property::withStringValue("country", fact(KIVC_DEVICE_PROPERTIES_COUNTRY)));
    add(*Property::withStringValue("language", fact(KIVC_DEVICE_PROPERTIES_LANGUAGE)));
    add(*Property::withStringValue("model", fact(KIVC_DEVICE_PROPERTIES_MODEL)));
    add(*Property::withStringValue("distinct_id", fact(KIVC_DEVICE_PROPERTIES_DISTINCT_ID)));
    for (const char* side : {KIVC_DEVICE_PROPERTIES_SCREEN_HEIGHT, KIVC_DEVICE_PROPERTIES_SCREEN_WIDTH}) {
        add(*Property::withIntValue(side, kiv::readInteger32(fact(side))));
    }
}

void KIVDeviceProperties::addInternalProperties() const {
    using Property = KIVCustomProperty;
    for (auto& property : {
             Property::withStringValue("kiv.internal.appKey", kivKey_),
             Property::withStringValue("kiv.internal.realPlatform", platform()),
             Property::withStringValue("kiv.internal.customPlatform", platform()),
             Property::withSemverValue("kiv.internal.ios.osVersion", osVersion()),
             Property::withStringValue("kiv.internal.distinct_id", distinctId_),
             Property::withSemverValue("kiv.internal.lib_version", libVersion()),
             Property::withSemverValue("kiv.internal.api_version", apiVersion()),
         }) {
        propertiesRepository_->addCustomProperty(property);
    }
}

std::string KIVDeviceProperties::stateMd5() const {
    return std::string(allProperties()->at(KIVC_DEVICE_PROPERTIES_STATE_MD5).as_string());
}

void KIVDeviceProperties::addDistinctIdToParams(Object& params) const {
    params[KIVC_DEVICE_PROPERTIES_DISTINCT_ID] = distinctId_;
}
