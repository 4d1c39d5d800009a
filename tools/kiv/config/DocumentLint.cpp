#include "config/DocumentLint.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include "Model/KIVDocumentLimits.h"
#include "Model/KIVJSONKeys.h"
#include "Terminal.h"
#include "expression/ExpressionReader.h"
#include "expression/Words.h"

namespace kiv::tool {
namespace {

constexpr std::string_view documentMembers[] = {
    KIVC_JSON_appKey, KIVC_JSON_data_experiments,         KIVC_JSON_data_targetGroups,
    KIVC_JSON_dummy,  KIVC_JSON_data_application_version, DEVICE_TWEAK};
constexpr std::string_view experimentMembers[] = {KIVC_JSON_data_experimentsIds,
                                                  KIVC_JSON_data_experimentsName,
                                                  KIVC_JSON_data_experimentsArchived,
                                                  KIVC_JSON_data_experimentsSticky,
                                                  KIVC_JSON_data_experimentsLabels,
                                                  KIVC_JSON_data_experimentsStickinessProperty,
                                                  KIVC_JSON_data_experimentsDeploymentConfiguration,
                                                  KIVC_JSON_data_experimentsFeatureFlags,
                                                  KIVC_JSON_data_experimentsVersionRange,
                                                  KIVC_JSON_data_experimentsTargeting};
constexpr std::string_view deploymentMembers[] = {KIVC_JSON_data_experimentsCondition};
constexpr std::string_view flagMembers[] = {KIVC_featureFlag_name};
constexpr std::string_view targetGroupMembers[] = {KIVC_JSON_data_targetGroupsGroupId,
                                                   KIVC_JSON_data_targetGroupsGroupCondition};

/// How many values and keys the value consists of.
std::size_t valuesOf(const json::value& value) {
    std::size_t count = 1;
    if (const json::object* object = value.if_object()) {
        for (const auto& member : *object) {
            count += 1 + valuesOf(member.value());
        }
    } else if (const json::array* array = value.if_array()) {
        for (const json::value& element : *array) {
            count += valuesOf(element);
        }
    }
    return count;
}

} // namespace

DocumentLint::DocumentLint(const json::object& payload)
    : payload_(payload), deciders_(deciders(payload)), circles_(payload) {
    for (const json::value& group : targetGroupsOf(payload)) {
        if (const json::string* identifier = textMember(group, KIVC_JSON_data_targetGroupsGroupId)) {
            targetGroups_.emplace(*identifier);
        }
    }
}

std::vector<Finding> DocumentLint::findings() {
    checkDocument();
    checkElements(KIVC_JSON_data_experiments, experimentPlace,
                  [this](const json::object& experiment) { checkExperiment(experiment); });
    checkElements(KIVC_JSON_data_targetGroups, targetGroupPlace,
                  [this](const json::object& group) { checkTargetGroup(group); });
    for (Finding& circle : circles_.findings()) {
        findings_.push_back(std::move(circle));
    }
    std::ranges::stable_sort(findings_, {}, [](const Finding& finding) {
        return std::tuple(finding.place.kind, finding.place.index, finding.spot ? finding.spot->position : 0);
    });
    return std::move(findings_);
}

template <class Check>
void DocumentLint::checkElements(std::string_view name, Place (*placeOf)(std::size_t, const json::value&),
                                 Check check) {
    place_ = {};
    checked(payload_, name, Type::array, true);
    const json::array* all = arrayMember(payload_, name);
    for (std::size_t index = 0; all && index < all->size(); ++index) {
        const json::value& element = (*all)[index];
        place_ = placeOf(index + 1, element);
        if (const json::object* object = element.if_object()) {
            check(*object);
        } else {
            error("is no JSON object", "It is skipped.");
        }
    }
}

void DocumentLint::checkDocument() {
    if (const std::size_t values = valuesOf(payload_); values > mostPayloadValues) {
        error("there are " + std::to_string(values) + " values and keys",
              "Every application refuses the document: it takes " + std::to_string(mostPayloadValues) +
                  " at most.");
    }
    const json::value* application = checked(payload_, KIVC_JSON_appKey, Type::text, true);
    if (!application || (application->is_string() && application->get_string().empty())) {
        error("there is no \"application\"",
              "Every application refuses the document: it names the key it is made for.");
    }
    checked(payload_, KIVC_JSON_dummy, Type::boolean, false);
    checkMemberNames(payload_, documentMembers);
}

void DocumentLint::checkExperiment(const json::object& experiment) {
    checkMemberNames(experiment, experimentMembers);
    checkExperimentId(experiment);
    if (checked(experiment, KIVC_JSON_data_experimentsName, Type::text, false) == nullptr ||
        place_.name.empty()) {
        warning("has no name", "It will be hard to find in reports.");
    }
    checked(experiment, KIVC_JSON_data_experimentsArchived, Type::boolean, false);
    checked(experiment, KIVC_JSON_data_experimentsSticky, Type::boolean, false);
    checked(experiment, KIVC_JSON_data_experimentsStickinessProperty, Type::text, true);
    checkLabels(experiment);
    checkDeployment(experiment);
    checkFlags(experiment, conditionOf(experiment) == nullptr);
}

void DocumentLint::checkExperimentId(const json::object& experiment) {
    const json::value* member = checked(experiment, KIVC_JSON_data_experimentsIds, Type::text, false);
    const json::string* identifier = member ? member->if_string() : nullptr;
    if (!identifier || identifier->empty()) {
        return;
    }
    const auto [earlier, isNew] = experimentIndexes_.try_emplace(std::string(*identifier), place_.index);
    if (!isNew) {
        warning("has the \"_id\" of experiment " + std::to_string(earlier->second),
                "People and 'kiv explain' tell experiments apart by it: give this one another.");
    }
}

void DocumentLint::checkDeployment(const json::object& experiment) {
    constexpr const char* skipped = "The experiment is skipped entirely.";
    const json::value* deployment =
        checked(experiment, KIVC_JSON_data_experimentsDeploymentConfiguration, Type::object, true);
    if (!deployment) {
        error("has no \"deploymentConfiguration\", and so no condition", skipped);
        return;
    }
    const json::object* members = deployment->if_object();
    if (!members) {
        return;
    }
    checkMemberNames(*members, deploymentMembers);
    const json::value* condition = checked(*members, KIVC_JSON_data_experimentsCondition, Type::text, true);
    if (!condition) {
        error("has no \"condition\" in its \"deploymentConfiguration\"", skipped);
    } else {
        checkCondition(*condition, ExpressionUse::flag);
    }
}

void DocumentLint::checkFlags(const json::object& experiment, bool isSkipped) {
    const json::value* flags = checked(experiment, KIVC_JSON_data_experimentsFeatureFlags, Type::array, true);
    if (flags && !flags->is_array()) {
        return;
    }
    if (!flags || flags->get_array().empty()) {
        warning("names no flag", "Its condition decides nothing.");
        return;
    }
    Names named;
    for (const json::value& flag : flags->get_array()) {
        checkFlag(flag, named, isSkipped);
    }
}

void DocumentLint::checkFlag(const json::value& flag, Names& named, bool isSkipped) {
    const json::object* object = flag.if_object();
    if (!object) {
        error("an element of \"featureFlags\" is no JSON object", "Write {\"name\": \"namespace.flag\"}.");
        return;
    }
    checkMemberNames(*object, flagMembers);
    const json::value* member = checked(*object, KIVC_featureFlag_name, Type::text, true);
    const json::string* name = member ? member->if_string() : nullptr;
    if (!member || (name && name->empty())) {
        error("a flag has no name");
    }
    if (!name || name->empty()) {
        return;
    }
    if (!named.emplace(*name).second) {
        warning("names the flag " + inQuotes(*name) + " twice");
        return;
    }
    const auto decider = deciders_.find(*name);
    if (!isSkipped && decider != deciders_.end() && decider->second + 1 != place_.index) {
        const json::array& all = experimentsOf(payload_);
        error("never decides the flag " + inQuotes(*name),
              experimentPlace(decider->second + 1, all[decider->second]).text() +
                  " names it too, and of two experiments the later one wins.");
    }
}

void DocumentLint::checkLabels(const json::object& experiment) {
    const json::value* labels = checked(experiment, KIVC_JSON_data_experimentsLabels, Type::array, true);
    const json::array* array = labels ? labels->if_array() : nullptr;
    if (array && !std::ranges::all_of(*array, [](const json::value& label) { return label.is_string(); })) {
        error("a label is no text", "It is skipped.");
    }
}

void DocumentLint::checkTargetGroup(const json::object& group) {
    checkMemberNames(group, targetGroupMembers);
    const json::value* identifier = checked(group, KIVC_JSON_data_targetGroupsGroupId, Type::text, true);
    if (!identifier || (identifier->is_string() && identifier->get_string().empty())) {
        error("has no \"_id\"", "No expression can refer to it.");
    } else if (identifier->is_string() &&
               !groupIndexes_.try_emplace(std::string(identifier->get_string()), place_.index).second) {
        error("has the \"_id\" of an earlier target group", "The earlier one wins: this one is never asked.");
    }
    const json::value* condition =
        checked(group, KIVC_JSON_data_targetGroupsGroupCondition, Type::text, true);
    if (!condition) {
        error("has no \"condition\"", "Nobody is in it.");
    } else {
        checkCondition(*condition, ExpressionUse::targetGroup);
    }
}

void DocumentLint::checkCondition(const json::value& condition, ExpressionUse use) {
    const json::string* text = condition.if_string();
    if (!text) {
        return;
    }
    ExpressionReader reader(*text, {&targetGroups_, use});
    for (ExpressionFinding& each : reader.read()) {
        findings_.push_back({each.isError, place_, Spot{std::string(*text), each.position, each.length},
                             std::move(each.message), std::move(each.advice)});
    }
    circles_.add(place_, *text, reader.references());
    if (reader.isCut()) {
        warning("this condition has more findings than are listed here");
    }
}

void DocumentLint::checkMemberNames(const json::object& object, std::span<const std::string_view> known) {
    for (const auto& [key, value] : object) {
        const std::string_view name = key;
        if (std::ranges::find(known, name) != known.end()) {
            continue;
        }
        const std::string_view meant = closest(name, known);
        if (!meant.empty() && !object.contains(meant)) {
            warning("the member " + inQuotes(name) + " is not read", "Did you mean " + inQuotes(meant) + "?");
        }
    }
}

const json::value* DocumentLint::checked(const json::object& object, std::string_view name, Type type,
                                         bool isError) {
    const json::value* value = member(object, name);
    if (!value) {
        return nullptr;
    }
    const bool fits = type == Type::text      ? value->is_string()
                      : type == Type::boolean ? value->is_bool()
                      : type == Type::array   ? value->is_array()
                                              : value->is_object();
    if (!fits) {
        constexpr std::array names{"a text", "true or false", "an array", "an object"};
        findings_.push_back({isError, place_, std::nullopt,
                             inQuotes(name) + " must be " + names.at(static_cast<std::size_t>(type)), ""});
    }
    return value;
}

void DocumentLint::error(std::string message, std::string advice) {
    findings_.push_back({true, place_, std::nullopt, std::move(message), std::move(advice)});
}

void DocumentLint::warning(std::string message, std::string advice) {
    findings_.push_back({false, place_, std::nullopt, std::move(message), std::move(advice)});
}

} // namespace kiv::tool
