#pragma once

#include <string>

#include "evaluate/EvaluationRecord.h"

namespace kiv::tool {

/// Why an operator that ran made of its arguments what their author probably did not mean, and what to write
/// instead: "a number never equals a text: write eq(property("n"), 5)". Printable; empty when the arguments
/// are of the kinds that the operator is for.
std::string kindRemark(const RecordedEvaluation& evaluation, const RecordedStep& step);

} // namespace kiv::tool
