#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <kiv/KivxValue.h>

#include "KivxLanguage/KivxEvaluationResult.h"
#include "Platform/Text/Json.h"

namespace kiv::tool {

/// "bool", "int", "double", "string", "date", "array" or "dictionary"; "undefined" for undefined and `none`.
std::string_view typeName(const KivxValue& value);

/// The value as JSON: a date as its text, undefined and `none` as null, the keys of a dictionary as texts.
json::value toJson(const KivxValue& value);

/// How an evaluation ended, as `kiv eval --batch` prints it: "outcome", and for a value "type", "value" and
/// "stringValue". Undefined is the value of an evaluation without a result.
json::object outcome(const KivxValue& value);
json::object outcome(const std::optional<KivxEvaluationResult>& result);

json::value orNull(const std::optional<std::string>& text);

/// Appends the members of `more` that `object` does not have.
void append(json::object& object, json::object more);

/// True when `ifThen` would take the condition for true; undefined counts as false. Throws `KIVException` for
/// a value that is neither true nor false.
bool holds(const KivxValue& condition);

/// The value for a person: a text as it is, everything else as JSON.
std::string toText(const KivxValue& value);

} // namespace kiv::tool
