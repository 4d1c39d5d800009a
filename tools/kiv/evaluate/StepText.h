#pragma once

#include <string>
#include <vector>

#include "evaluate/EvaluationRecord.h"
#include "evaluate/EvaluationWorld.h"

/// Steps of an evaluation in a person's words. All texts are printable, and cut when they are long.
namespace kiv::tool {

/// A value as an expression would hold it.
std::string literalText(const KivxValue& value);

/// The operator with the values that it was given: gte(12, 10).
std::string callText(const RecordedEvaluation& evaluation, const RecordedStep& step);

/// The step as it stands in the expression: gte(property("orders"), 10).
std::string sourceText(const RecordedEvaluation& evaluation, const RecordedStep& step);

/// A bucket to six digits, or whole when that would not tell it from a bound that it was compared with.
std::string bucketText(const RecordedEvaluation& evaluation, const RecordedStep& step);

/// What else is to be said about a step that was run: its bucket, where its value comes from. May be empty.
std::string remark(const RecordedEvaluation& evaluation, const RecordedStep& step,
                   const EvaluationWorld& world);

/// A property that an evaluation asked for.
struct PropertyRead {
    std::string name;
    KivxValue value;
    std::string source; ///< its type, or who knows it
};

/// Those that the evaluation and the ones inside it read, in the order of their names: once each, or twice
/// when a value of the context was not seen everywhere.
std::vector<PropertyRead> propertiesRead(const RecordedEvaluation& evaluation, const EvaluationWorld& world);

} // namespace kiv::tool
