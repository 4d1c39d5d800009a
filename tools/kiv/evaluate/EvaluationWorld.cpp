#include "evaluate/EvaluationWorld.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "KivxLanguage/KivxCustomPropertiesExtensions.h"
#include "KivxLanguage/KivxExperimentsExtensions.h"
#include "Model/KIVExperimentDataParser.h"
#include "Model/KIVJSONKeys.h"
#include "Model/KIVTargetGroupModel.h"

namespace kiv::tool {

class EvaluationWorld::TargetGroups : public KivxTargetGroupSource {
public:
    TargetGroups(const EvaluationRequest& request, const json::object* payload) {
        for (const auto& [identifier, condition] : request.targetGroups) {
            groups_.try_emplace(identifier, identifier, condition);
        }
        if (!payload) {
            return;
        }
        for (KIVTargetGroupModel& group : KIVExperimentDataParser().parseTargetGroupsWithConfiguration(
                 member(*payload, KIVC_JSON_data_targetGroups))) {
            if (group.groupId()) {
                groups_.try_emplace(*group.groupId(), std::move(group));
            }
        }
    }

    bool isInTargetGroup(std::string_view identifier, const KivxParser& parser,
                         std::string_view flagName) const override {
        const auto found = groups_.find(identifier);
        return found != groups_.end() && found->second.isApplicableWithParser(parser, flagName);
    }

    bool isTargetGroupPaired(std::string_view) const override { return false; }

    bool has(std::string_view identifier) const { return groups_.contains(identifier); }

    const std::string* conditionOf(std::string_view identifier) const {
        const auto found = groups_.find(identifier);
        return found != groups_.end() && found->second.condition() ? &*found->second.condition() : nullptr;
    }

private:
    std::map<std::string, KIVTargetGroupModel, std::less<>> groups_;
};

class EvaluationWorld::Flags : public KivxFlagValueSource {
public:
    Flags(const KivxParser& parser, const json::object* payload)
        : parser_(parser), experiments_(KIVExperimentDataParser().parseExperimentsWithConfiguration(
                               payload ? member(*payload, KIVC_JSON_data_experiments) : nullptr)) {}

    std::optional<std::string> valueOfFlag(std::string_view name,
                                           const EvaluationContext& context) const override {
        const KIVExperimentModel* experiment = experimentFor(name);
        return experiment ? experiment->valueWithParser(parser_, name, context) : std::nullopt;
    }

    const KIVExperimentModel* experimentFor(std::string_view name) const {
        const auto found = experiments_->find(name);
        return found == experiments_->end() ? nullptr : found->second.get();
    }

    std::vector<std::string> names() const {
        std::vector<std::string> names;
        names.reserve(experiments_->size());
        for (const auto& [flag, experiment] : *experiments_) {
            names.push_back(flag.name);
        }
        std::ranges::sort(names);
        return names;
    }

private:
    const KivxParser& parser_; ///< owns this object
    std::shared_ptr<const KIVExperiments> experiments_;
};

EvaluationWorld::EvaluationWorld(const EvaluationRequest& request, const json::object* payload)
    : context_(EvaluationContext::initDefaultWithContext(KIVDynamicPropertyContext(request.context))),
      properties_(std::make_shared<KIVCustomPropertiesRepository>()),
      targetGroups_(std::make_shared<const TargetGroups>(request, payload)),
      flags_(std::make_shared<const Flags>(parser_, payload)) {
    for (const auto& property : request.properties) {
        setProperty(property);
    }
    KivxExperimentsExtensions(parser_, targetGroups_, flags_).extend();
    KivxCustomPropertiesExtensions(parser_, properties_).extend();
}

EvaluationWorld::~EvaluationWorld() = default;

void EvaluationWorld::setProperty(std::shared_ptr<const KIVCustomProperty> property) {
    properties_->addCustomProperty(std::move(property));
}

const KIVExperimentModel* EvaluationWorld::experimentFor(std::string_view flagName) const {
    return flags_->experimentFor(flagName);
}

std::vector<std::string> EvaluationWorld::flagNames() const { return flags_->names(); }

bool EvaluationWorld::hasTargetGroup(std::string_view identifier) const {
    return targetGroups_->has(identifier);
}

const std::string* EvaluationWorld::conditionOfTargetGroup(std::string_view identifier) const {
    return targetGroups_->conditionOf(identifier);
}

} // namespace kiv::tool
