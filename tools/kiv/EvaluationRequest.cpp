#include "EvaluationRequest.h"

#include <cstdint>
#include <limits>
#include <optional>

#include "Command.h"
#include "Platform/Dates.h"
#include "Terminal.h"

namespace kiv::tool {
namespace {

using Property = std::shared_ptr<const KIVCustomProperty>;

[[noreturn]] void refuse(std::string_view member, std::string_view name, const std::string& why) {
    throw BadInput("\"" + std::string(member) + "\"" + (name.empty() ? "" : ": " + inQuotes(name)) + ": " +
                   why);
}

[[noreturn]] void refuseProperty(const std::string& name, const std::string& why) {
    refuse("properties", name, why);
}

/// Null when it is absent; refuses what is no object.
const json::object* objectMember(const json::value& document, std::string_view name) {
    const json::value* found = member(document, name);
    if (!found) {
        return nullptr;
    }
    if (!found->is_object()) {
        refuse(name, "", "must be an object");
    }
    return &found->get_object();
}

std::optional<std::int32_t> int32(const json::value& value) {
    const std::int64_t* integer = value.if_int64();
    if (!integer || *integer < std::numeric_limits<std::int32_t>::min() ||
        *integer > std::numeric_limits<std::int32_t>::max()) {
        return {};
    }
    return static_cast<std::int32_t>(*integer);
}

KIVDate date(const std::string& name, const json::value& value) {
    if (const std::int64_t* seconds = value.if_int64()) {
        constexpr std::int64_t farthest = std::int64_t{1} << 40; // beyond any calendar
        if (*seconds > -farthest && *seconds < farthest) {
            return KIVDate(std::chrono::seconds(*seconds));
        }
    }
    const json::string* text = value.if_string();
    const std::optional<KIVDate> parsed = text ? parseDate(*text) : std::nullopt;
    if (!parsed) {
        refuseProperty(name,
                       "a \"datetime\" is a text like \"2026-01-31T12:00:00.000Z\", or seconds since 1970");
    }
    return *parsed;
}

/// A property whose type follows from the kind of its value.
Property plainProperty(const std::string& name, const json::value& value) {
    if (const json::string* text = value.if_string()) {
        return KIVCustomProperty::withStringValue(name, std::string(*text));
    }
    if (const bool* truth = value.if_bool()) {
        return KIVCustomProperty::withBoolValue(name, *truth);
    }
    if (const auto integer = int32(value)) {
        return KIVCustomProperty::withIntValue(name, *integer);
    }
    if (value.is_number()) {
        return KIVCustomProperty::withDoubleValue(name, value.to_number<double>());
    }
    refuseProperty(name, "must be a text, a number, a boolean or {\"type\": …, \"value\": …}");
}

Property typedProperty(const std::string& name, const json::object& object) {
    const json::string* type = textMember(object, "type");
    const json::value* value = member(object, "value");
    if (!type || !value) {
        refuseProperty(name, "an object needs a text \"type\" and a \"value\"");
    }
    if (*type == KIVC_customPropertyTypeDateTime) {
        return KIVCustomProperty::withDateTimeValue(name, date(name, *value));
    }
    if (*type == KIVC_customPropertyTypeSemver && value->is_string()) {
        return KIVCustomProperty::withSemverValue(name, std::string(value->get_string()));
    }
    if (*type == KIVC_customPropertyTypeDouble && value->is_number()) {
        return KIVCustomProperty::withDoubleValue(name, value->to_number<double>());
    }
    const bool isPlain = (*type == KIVC_customPropertyTypeString && value->is_string()) ||
                         (*type == KIVC_customPropertyTypeBool && value->is_bool()) ||
                         (*type == KIVC_customPropertyTypeInt && int32(*value));
    if (isPlain) {
        return plainProperty(name, *value);
    }
    for (const std::string_view known :
         {KIVC_customPropertyTypeString, KIVC_customPropertyTypeSemver, KIVC_customPropertyTypeBool,
          KIVC_customPropertyTypeInt, KIVC_customPropertyTypeDouble}) {
        if (*type == known) {
            refuseProperty(name,
                           "the value " + compactJson(*value) + " does not fit the type " + inQuotes(known));
        }
    }
    refuseProperty(name,
                   "the type " + inQuotes(*type) + " is none of string, semver, datetime, bool, int, double");
}

KivxValue contextValue(std::string_view name, const json::value& value) {
    if (const json::string* text = value.if_string()) {
        return std::string(*text);
    }
    if (const bool* truth = value.if_bool()) {
        return *truth;
    }
    if (const std::int64_t* integer = value.if_int64()) {
        return *integer;
    }
    if (value.is_number()) {
        return value.to_number<double>();
    }
    if (value.is_null()) {
        return KivxValue::undefined();
    }
    refuse("context", name, "must be a text, a number, a boolean or null");
}

} // namespace

EvaluationRequest parseRequest(const json::value& document) {
    if (!document.is_object()) {
        throw BadInput("a request is a JSON object");
    }
    const json::string* expression = textMember(document, "expression");
    if (!expression) {
        throw BadInput(member(document, "expression") ? "\"expression\": must be a text"
                                                      : "\"expression\": is missing");
    }
    EvaluationRequest request{std::string(*expression)};
    if (const json::value* flagName = member(document, "flagName")) {
        if (!flagName->is_string()) {
            refuse("flagName", "", "must be a text");
        }
        request.flagName = std::string(flagName->get_string());
    }
    if (const json::object* properties = objectMember(document, "properties")) {
        for (const auto& [key, value] : *properties) {
            const std::string name(key);
            request.properties.push_back(value.is_object() ? typedProperty(name, value.get_object())
                                                           : plainProperty(name, value));
        }
    }
    if (const json::object* context = objectMember(document, "context")) {
        for (const auto& [name, value] : *context) {
            request.context.insert_or_assign(std::string(name), contextValue(name, value));
        }
    }
    if (const json::object* groups = objectMember(document, "targetGroups")) {
        for (const auto& [identifier, condition] : *groups) {
            if (!condition.is_string()) {
                refuse("targetGroups", identifier, "the condition must be a text");
            }
            request.targetGroups.emplace_back(identifier, std::string(condition.get_string()));
        }
    }
    return request;
}

} // namespace kiv::tool
