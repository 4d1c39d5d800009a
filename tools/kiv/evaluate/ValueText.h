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

/// How an evaluation ended, as `kiv eval --batch` tells it: "outcome" and, of a value, the value.
json::object outcome(const std::optional<KivxEvaluationResult>& result);

/// For a person: a text as it is, everything else as in JSON.
std::string toText(const KivxValue& value);

} // namespace kiv::tool
