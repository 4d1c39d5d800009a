#pragma once

#include <functional>
#include <string>
#include <vector>

#include "evaluate/EvaluationRecord.h"
#include "evaluate/EvaluationWorld.h"

/// Texts about the steps of an evaluation, for a person. All are printable, and cut when they are long.
namespace kiv::tool {

/// A value as it is written in an expression.
std::string literalText(const KivxValue& value);

/// The operator with the values of its arguments: gte(12, 10).
std::string callText(const RecordedEvaluation& evaluation, const RecordedStep& step);

/// The step as it stands in the expression: gte(property("orders"), 10).
std::string sourceText(const RecordedEvaluation& evaluation, const RecordedStep& step);

/// The bucket of a percentage test with six digits; with all digits when it is very near to a bound of the
/// test.
std::string bucketText(const RecordedEvaluation& evaluation, const RecordedStep& step);

/// A remark on an operator that ran, such as its bucket, where its value comes from, what its arguments count
/// as, or a warning about how they are written. May be empty.
std::string remark(const RecordedEvaluation& evaluation, const RecordedStep& step,
                   const EvaluationWorld& world);

/// The part of `remark` that says what the operator made of its arguments: `kindRemark`, else the warnings
/// about how they are written. May be empty.
std::string remarkOnArguments(const RecordedEvaluation& evaluation, const RecordedStep& step);

/// What is odd about an evaluation and those inside it: at most three remarks on arguments, and failures of
/// inner evaluations by the words that `failureText` gives them. Each appears once.
std::vector<std::string> oddities(const RecordedEvaluation& evaluation,
                                  const std::function<std::string(const RecordedEvaluation&)>& failureText);

/// The findings about the expression that no remark on a step says.
std::vector<ExpressionFinding> looseFindings(const RecordedEvaluation& evaluation);

/// A property that an evaluation read.
struct PropertyRead {
    std::string name;
    KivxValue value;
    std::string source; ///< its type, or where its value comes from
};

/// The properties that the evaluation and the evaluations inside it read, sorted by name. Each appears once,
/// but a value of the context that only some of the evaluations could see appears twice.
std::vector<PropertyRead> propertiesRead(const RecordedEvaluation& evaluation, const EvaluationWorld& world);

} // namespace kiv::tool
