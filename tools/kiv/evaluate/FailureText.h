#pragma once

#include <string>

#include "Command.h"
#include "evaluate/EvaluationRecord.h"

namespace kiv::tool {

/// Says where and why an evaluation failed or gave no value, with what `ExpressionReader` found about that in
/// the expression. `operators` are those of the parser that evaluated it.
BadInput failureOf(const RecordedEvaluation& evaluation, const KivxOperatorTable& operators);

/// The same for an evaluation inside another one, in a line of text, printable.
std::string failureLine(const RecordedEvaluation& evaluation, const KivxOperatorTable& operators);

} // namespace kiv::tool
