#include "CorvaneClient/KIVClientDataParser.h"

#include <algorithm>
#include <utility>

#include "Model/KIVJSONKeys.h"
#include "Runtime/KIVDebugger.h"

namespace {

std::string description(const kiv::json::value* node) { return node ? kiv::compactJson(*node) : "(null)"; }

} // namespace

KIVClientDataParser::KIVClientDataParser(std::string distinctId, Properties properties, Document data)
    : distinctId_(std::move(distinctId)), properties_(std::move(properties)), data_(std::move(data)) {}

const kiv::json::value* KIVClientDataParser::member(const char* name) const {
    return data_ ? kiv::member(*data_, name) : nullptr;
}

std::shared_ptr<const KIVExperiments> KIVClientDataParser::experiments() const {
    return experimentDataParser_.parseExperimentsWithConfiguration(member(KIVC_JSON_data_experiments));
}

std::vector<KIVTargetGroupModel> KIVClientDataParser::targetGroups() const {
    return experimentDataParser_.parseTargetGroupsWithConfiguration(member(KIVC_JSON_data_targetGroups));
}

std::optional<std::string> KIVClientDataParser::versionId() const {
    const auto* version = member(KIVC_JSON_data_application_version);
    const auto* id = version ? kiv::textMember(*version, KIVC_JSON_data_application_version_id) : nullptr;
    return id ? std::optional<std::string>(std::in_place, *id) : std::nullopt;
}

const kiv::json::value* KIVClientDataParser::tweakBundle() const {
    const auto* tweak = member(DEVICE_TWEAK);
    if (const auto* matching = findMatchingBundle(tweak ? kiv::member(*tweak, DEVICE_BUNDLES) : nullptr)) {
        return kiv::member(*matching, DEVICE_BUNDLE);
    }
    const auto* general = tweak ? kiv::member(*tweak, DEVICE_BUNDLE) : nullptr;
    KIV_DEBUG_LOG("out - tweak[DEVICE_BUNDLE]=%@", description(general));
    return general;
}

const kiv::json::value* KIVClientDataParser::findMatchingBundle(const kiv::json::value* bundles) const {
    if (const auto* array = bundles ? bundles->if_array() : nullptr) {
        const auto found = std::find_if(array->begin(), array->end(),
                                        [this](const auto& bundle) { return isMatching(bundle); });
        if (found != array->end()) {
            KIV_DEBUG_LOG("out - bundle=%@", description(found));
            return found;
        }
    }
    KIV_DEBUG_LOG("out - nil");
    return nullptr;
}

bool KIVClientDataParser::isMatching(const kiv::json::value& bundle) const {
    if (!bundle.is_object()) {
        return false;
    }
    const auto* matcher = kiv::member(bundle, DEVICE_BUNDLE_MATCHER);
    if (!matcher || !matcher->is_object()) {
        return true;
    }
    const auto& wanted = matcher->get_object();
    if (wanted.empty()) {
        return true;
    }
    const auto properties = properties_ ? properties_() : std::make_shared<const kiv::json::object>();
    return std::all_of(wanted.begin(), wanted.end(), [&](const auto& pair) {
        const auto* own = kiv::member(*properties, pair.key());
        return own && kiv::equalJson(*own, pair.value());
    });
}
