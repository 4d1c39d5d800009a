#include "Model/KIVDeploymentConfiguration.h"

#include "KivxLanguage/KivxParser.h"

std::optional<std::string>
KIVDeploymentConfiguration::valueWithParser(const KivxParser& parser, std::string_view flagName,
                                            const EvaluationContext& context) const {
    auto result = parser.evaluateExpression(condition_, flagName, context);
    return result ? std::move(*result).stringValue() : std::nullopt;
}
