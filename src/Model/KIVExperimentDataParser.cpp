#include "Model/KIVExperimentDataParser.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "Model/KIVExperimentModel.h"
#include "Model/KIVFeatureFlagsParser.h"
#include "Model/KIVJSONKeys.h"
#include "Platform/Text/Text.h"

namespace {

using kiv::json::value;

const kiv::json::array* asArray(const value* node) { return node ? node->if_array() : nullptr; }

std::optional<std::string> text(const value& object, std::string_view name) {
    const auto* found = kiv::textMember(object, name);
    return found ? std::optional<std::string>(std::in_place, *found) : std::nullopt;
}

bool boolean(const value& object, std::string_view name) {
    const value* found = kiv::member(object, name);
    if (!found) {
        return false;
    }
    switch (found->kind()) {
    case kiv::json::kind::bool_:
        return found->get_bool();
    case kiv::json::kind::int64:
        return found->get_int64() != 0;
    case kiv::json::kind::uint64:
        return found->get_uint64() != 0;
    case kiv::json::kind::double_:
        return found->get_double() != 0;
    case kiv::json::kind::string:
        return kiv::readBoolean(found->get_string());
    default:
        return false;
    }
}

std::set<std::string> labels(const value& experiment) {
    std::set<std::string> all;
    if (const auto* array = kiv::arrayMember(experiment, KIVC_JSON_data_experimentsLabels)) {
        for (const value& label : *array) {
            if (label.is_string()) {
                all.emplace(label.get_string());
            }
        }
    }
    return all;
}

/// The model of an experiment; null when it has no condition.
std::shared_ptr<const KIVExperimentModel> experimentModel(const value& experiment) {
    const value* deployment = kiv::member(experiment, KIVC_JSON_data_experimentsDeploymentConfiguration);
    auto condition = deployment ? text(*deployment, KIVC_JSON_data_experimentsCondition) : std::nullopt;
    if (!condition) {
        return nullptr;
    }
    return std::make_shared<const KIVExperimentModel>(
        text(experiment, KIVC_JSON_data_experimentsIds), text(experiment, KIVC_JSON_data_experimentsName),
        boolean(experiment, KIVC_JSON_data_experimentsArchived),
        KIVDeploymentConfiguration(std::move(*condition)),
        boolean(experiment, KIVC_JSON_data_experimentsSticky), labels(experiment),
        text(experiment, KIVC_JSON_data_experimentsStickinessProperty));
}

} // namespace

std::shared_ptr<const KIVExperiments>
KIVExperimentDataParser::parseExperimentsWithConfiguration(const value* experiments) const {
    auto table = std::make_shared<KIVExperiments>();
    const auto* array = asArray(experiments);
    if (!array) {
        return table;
    }
    table->reserve(array->size());
    for (const value& experiment : *array) {
        const value* flags = kiv::member(experiment, KIVC_JSON_data_experimentsFeatureFlags);
        const auto model = flags ? experimentModel(experiment) : nullptr;
        if (!model) {
            continue;
        }
        for (KIVFeatureFlagId& id : KIVFeatureFlagsParser::parseWithConfiguration(*flags)) {
            if (!id.name.empty()) {
                table->insert_or_assign(std::move(id), model);
            }
        }
    }
    return table;
}

std::vector<KIVTargetGroupModel>
KIVExperimentDataParser::parseTargetGroupsWithConfiguration(const value* targetGroups) const {
    std::vector<KIVTargetGroupModel> groups;
    if (const auto* array = asArray(targetGroups)) {
        groups.reserve(array->size());
        for (const value& group : *array) {
            if (group.is_object()) {
                groups.emplace_back(text(group, KIVC_JSON_data_targetGroupsGroupId),
                                    text(group, KIVC_JSON_data_targetGroupsGroupCondition));
            }
        }
    }
    return groups;
}
