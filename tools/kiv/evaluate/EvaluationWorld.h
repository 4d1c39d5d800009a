#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kiv/EvaluationContext.h>

#include "KivxLanguage/KivxEvaluationResult.h"
#include "KivxLanguage/KivxExperimentSources.h"
#include "KivxLanguage/KivxParser.h"
#include "KivxLanguage/KivxStack.h"
#include "Model/KIVExperimentModel.h"
#include "Platform/Text/Json.h"
#include "Properties/KIVCustomPropertiesRepository.h"
#include "evaluate/EvaluationRequest.h"

namespace kiv::tool {

/// All that an expression can ask: the parser with its extensions, the properties, the context, and the
/// experiments and target groups of a document.
///
/// No device is linked to a target group here. The flags of the document count as registered: an expression
/// that asks for one sees its value in the same context. A flag without a value is "false", because its
/// default is not known here.
class EvaluationWorld {
public:
    /// Takes properties, context and target groups from the request, and experiments and target groups from
    /// the payload of a document (null: no document). Keeps no reference to either. When both have a target
    /// group, the request's counts.
    explicit EvaluationWorld(const EvaluationRequest& request, const json::object* payload = nullptr);
    ~EvaluationWorld();
    EvaluationWorld(const EvaluationWorld&) = delete;
    EvaluationWorld& operator=(const EvaluationWorld&) = delete;

    /// Adds the property, in place of one with the same name.
    void setProperty(std::shared_ptr<const KIVCustomProperty> property);

    /// Has `apply` answer the operator `property` from now on, in place of the properties. Call it before
    /// other threads know this object; any thread may then evaluate, and `apply` runs on that thread.
    void setPropertyOperator(std::function<void(KivxStack&)> apply) {
        parser_.setOperator("property", std::move(apply));
    }

    /// `KivxParser::evaluateExpression` with these properties, target groups and context.
    std::optional<KivxEvaluationResult> evaluate(std::string_view expression,
                                                 std::string_view flagName) const {
        return parser_.evaluateExpression(expression, flagName, context_);
    }

    /// The experiment that decides the flag, null when the document has none for it. Its condition, given to
    /// `evaluate` with the flag's name, is the flag's value; valid as long as this object.
    const KIVExperimentModel* experimentFor(std::string_view flagName) const;

    /// The flags that the document has an experiment for, sorted.
    std::vector<std::string> flagNames() const;

    // For explaining a value.
    bool hasTargetGroup(std::string_view identifier) const;
    /// Null when there is no such group, or it has no condition.
    const std::string* conditionOfTargetGroup(std::string_view identifier) const;
    const KIVCustomPropertiesRepository& properties() const { return *properties_; }
    const EvaluationContext& context() const { return context_; }
    const KivxParser& parser() const { return parser_; }

private:
    class TargetGroups;
    class Flags;

    KivxParser parser_;
    EvaluationContext context_;
    std::shared_ptr<KIVCustomPropertiesRepository> properties_;
    std::shared_ptr<const TargetGroups> targetGroups_;
    std::shared_ptr<const Flags> flags_;
};

} // namespace kiv::tool
