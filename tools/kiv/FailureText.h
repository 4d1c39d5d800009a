#pragma once

#include "Command.h"
#include "EvaluationRecord.h"

namespace kiv::tool {

/// Says where and why an evaluation failed or left nothing, and what reading the expression as its author
/// meant it tells about that. `operators` are those that the evaluation knew.
BadInput failureOf(const RecordedEvaluation& evaluation, const KivxOperatorTable& operators);

} // namespace kiv::tool
