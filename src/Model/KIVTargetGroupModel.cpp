#include "Model/KIVTargetGroupModel.h"

#include <utility>

#include "KivxLanguage/KivxParser.h"

KIVTargetGroupModel::KIVTargetGroupModel(std::optional<std::string> groupId,
                                         std::optional<std::string> condition)
    : groupId_(std::move(groupId)), condition_(std::move(condition)) {}

bool KIVTargetGroupModel::isApplicableWithParser(const KivxParser& parser, std::string_view flagName) const {
    if (!condition_) {
        return false;
    }
    const auto result = parser.evaluateExpression(*condition_, flagName, EvaluationContext::initDefault());
    return result && result->boolValue();
}
