#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <kiv/KivxValue.h>

#include "KivxLanguage/KivxEvaluationResult.h"
#include "Platform/Text/Json.h"

namespace kiv::tool {

/// "bool", "int", "double", "string", "date", "array" or "dictionary"; "undefined" for what is no value.
std::string_view typeName(const KivxValue& value);

/// Dates as their text; what is no value as null; keys of dictionaries as texts.
json::value toJson(const KivxValue& value);

/// How an evaluation ended, as `kiv eval --batch` prints it: "outcome", and for a value "type", "value" and
/// "stringValue". Undefined is the value of an evaluation without a result.
json::object outcome(const KivxValue& value);
json::object outcome(const std::optional<KivxEvaluationResult>& result);

json::value orNull(const std::optional<std::string>& text);

/// Appends the members of `more` that `object` does not have.
void append(json::object& object, json::object more);

/// The condition holds, as `ifThen` sees it: undefined counts as false. Throws `KIVException` for a value
/// that is no condition.
bool holds(const KivxValue& condition);

/// For a person: a text as it is, everything else as in JSON.
std::string toText(const KivxValue& value);

} // namespace kiv::tool
