#pragma once

#include <string_view>
#include <vector>

#include "Command.h"
#include "evaluate/EvaluationRecord.h"
#include "expression/ExpressionReader.h"

namespace kiv::tool {

/// Says where and why an evaluation failed or gave no value, with what `ExpressionReader` finds about that in
/// the expression. `operators` are those of the parser that evaluated it.
BadInput failureOf(const RecordedEvaluation& evaluation, const KivxOperatorTable& operators);

/// The errors that `ExpressionReader` finds in an expression. The expression may have a value in spite of
/// them.
std::vector<ExpressionFinding> errorsIn(std::string_view expression);

} // namespace kiv::tool
