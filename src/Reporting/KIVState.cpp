#include "Reporting/KIVState.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "Model/KeyForm.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Text/Text.h"
#include "Platform/Threads/Fork.h"
#include "Reporting/KIVDevicePropertyKeys.h"

namespace {

using Object = KIVState::Object;

constexpr const char* stateGenerators[] = {
    KIVC_DEVICE_PROPERTIES_PLATFORM,
    KIVC_DEVICE_PROPERTIES_APP_KEY,
    KIVC_DEVICE_PROPERTIES_FEATURE_FLAGS_STRING,
    KIVC_DEVICE_PROPERTIES_CUSTOM_PROPERTIES_STRING,
    KIVC_DEVICE_PROPERTIES_DEV_MODE_SECRET,
};

} // namespace

KIVState::KIVState(std::string sdkKey, Object facts,
                   std::shared_ptr<const KIVCustomPropertiesRepository> propertiesRepository,
                   std::shared_ptr<const KIVFeatureFlagsRepository> flagsRepository)
    : sdkKey_(std::move(sdkKey)), facts_(std::move(facts)),
      propertiesRepository_(std::move(propertiesRepository)), flagsRepository_(std::move(flagsRepository)) {}

std::string KIVState::createHashWithGeneratorsList(std::span<const char* const> generators,
                                                   const Object& properties) {
    std::string texts;
    const char* separator = "";
    for (const char* key : generators) {
        if (const auto* text = kiv::textMember(properties, key)) {
            texts += std::exchange(separator, "|");
            texts += *text;
        }
    }
    return kiv::md5Hex(texts);
}

std::shared_ptr<const Object> KIVState::document() const {
    const auto dictionary = [](std::shared_ptr<const Document> document) {
        const Object* all = &document->all;
        return std::shared_ptr<const Object>(std::move(document), all);
    };
    // The versions are read before the lists: a registration in between makes the document stale again. Each
    // version only grows, so the sum of the two tells a newer state from an older one.
    const std::uint64_t version = propertiesRepository_->version() + flagsRepository_->version();
    {
        const kiv::Lock lock(lock_);
        if (document_ && document_->version >= version) {
            return dictionary(document_);
        }
    }
    auto next = std::make_shared<Document>(Document{version, facts_});
    Object& all = next->all;
    kiv::json::value properties = transformCustomProperties();
    kiv::json::value flags = transformFeatureFlags();
    all[KIVC_DEVICE_PROPERTIES_CUSTOM_PROPERTIES_STRING] = kiv::prettyJson(properties);
    all[KIVC_DEVICE_PROPERTIES_CUSTOM_PROPERTIES] = std::move(properties);
    all[KIVC_DEVICE_PROPERTIES_FEATURE_FLAGS_STRING] = kiv::prettyJson(flags);
    all[KIVC_DEVICE_PROPERTIES_FEATURE_FLAGS] = std::move(flags);
    all[KIVC_DEVICE_PROPERTIES_STATE_MD5] = createHashWithGeneratorsList(stateGenerators, all);

    std::shared_ptr<const Document> result = std::move(next);
    const kiv::Lock lock(lock_);
    if (!document_ || document_->version <= version) {
        document_ = result;
    }
    return dictionary(std::move(result));
}

/// The properties sorted by name. Dates are not reported for keys of the application-key form.
kiv::json::array KIVState::transformCustomProperties() const {
    auto properties = propertiesRepository_->availableCustomProperties();
    if (!kiv::isUuidForm(sdkKey_)) {
        std::erase_if(properties, [](const auto& property) {
            return property->externalType() == KIVC_customPropertyExternalTypeDateTime;
        });
    }
    std::ranges::sort(properties, {},
                      [](const auto& property) -> const std::string& { return property->name(); });
    kiv::json::array list;
    for (const auto& property : properties) {
        list.push_back({{KIVC_customPropertyDataName, kiv::repairUtf8(property->name())},
                        {KIVC_customPropertyDataType, property->type()},
                        {KIVC_customPropertyDataExternalType, property->externalType()}});
    }
    return list;
}

kiv::json::array KIVState::transformFeatureFlags() const {
    kiv::json::array list;
    for (const auto& [name, flag] : flagsRepository_->features()) {
        kiv::json::array options;
        for (const std::string& variation : flag->variations()) {
            options.emplace_back(kiv::repairUtf8(variation));
        }
        list.push_back({{KIVC_FEATURE_FLAG_NAME, kiv::repairUtf8(name)},
                        {KIVC_FEATURE_FLAG_DEFAULT_VALUE, kiv::repairUtf8(flag->defaultValue())},
                        {KIVC_FEATURE_FLAG_OPTIONS, std::move(options)}});
    }
    return list;
}
