#include "Model/KIVExperimentModel.h"

#include <utility>

#include "KivxLanguage/KivxParser.h"

std::optional<std::string>
KIVDeploymentConfiguration::valueWithParser(const KivxParser& parser, std::string_view flagName,
                                            const EvaluationContext& context) const {
    std::string own;
    const auto text = parser.evaluateText(condition_, flagName, context, own);
    return text ? std::optional<std::string>(*text) : std::nullopt;
}

KIVExperimentModel::KIVExperimentModel(std::optional<std::string> identifier, std::optional<std::string> name,
                                       bool archived, KIVDeploymentConfiguration deploymentConfiguration,
                                       bool sticky, std::set<std::string> labels,
                                       std::optional<std::string> stickinessProperty)
    : identifier_(std::move(identifier)), name_(std::move(name)),
      stickinessProperty_(std::move(stickinessProperty)), labels_(std::move(labels)),
      deploymentConfiguration_(std::move(deploymentConfiguration)), archived_(archived), sticky_(sticky) {}

std::optional<std::string> KIVExperimentModel::valueWithParser(const KivxParser& parser,
                                                               std::string_view flagName,
                                                               const EvaluationContext& context) const {
    return deploymentConfiguration_.valueWithParser(parser, flagName, context);
}
