#pragma once

#include <string_view>
#include <vector>

#include "Command.h"
#include "evaluate/EvaluationRecord.h"
#include "expression/ExpressionReader.h"

namespace kiv::tool {

/// Says where and why an evaluation failed or left nothing, and what reading the expression as its author
/// meant it tells about that. `operators` are those that the evaluation knew.
BadInput failureOf(const RecordedEvaluation& evaluation, const KivxOperatorTable& operators);

/// The mistakes in an expression, with which it may give a value all the same.
std::vector<ExpressionFinding> errorsIn(std::string_view expression);

} // namespace kiv::tool
