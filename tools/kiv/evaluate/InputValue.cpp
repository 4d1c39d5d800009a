#include "evaluate/InputValue.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <variant>

#include "Command.h"
#include "KivxLanguage/KivxTokens.h"
#include "Platform/Text/Dates.h"
#include "Platform/Text/Text.h"
#include "Terminal.h"
#include "expression/Words.h"

namespace kiv::tool {
namespace {

std::optional<std::int32_t> int32(const json::value& value) {
    const std::int64_t* integer = value.if_int64();
    if (!integer || *integer < std::numeric_limits<std::int32_t>::min() ||
        *integer > std::numeric_limits<std::int32_t>::max()) {
        return {};
    }
    return static_cast<std::int32_t>(*integer);
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
    throw BadInput("must be a text, a number, a boolean or {\"type\": …, \"value\": …}");
}

[[noreturn]] void refuseType(std::string_view type) {
    const std::string meant = didYouMean(type, propertyTypes);
    throw BadInput("the type " + inQuotes(type) + " is none of " + listed(propertyTypes), {},
                   meant.empty() ? "Write one of them, or leave the type out." : meant);
}

/// What a value of the type looks like.
std::string_view formOfType(std::string_view type) {
    return type == KIVC_customPropertyTypeInt      ? "a whole number of 32 bits; double takes every number"
           : type == KIVC_customPropertyTypeDouble ? "a number"
           : type == KIVC_customPropertyTypeBool   ? "true or false"
                                                   : "a text";
}

Property typedProperty(const std::string& name, std::string_view type, const json::value& value) {
    if (type == KIVC_customPropertyTypeDateTime) {
        return KIVCustomProperty::withDateTimeValue(name, dateFromJson(value));
    }
    if (type == KIVC_customPropertyTypeSemver && value.is_string()) {
        return KIVCustomProperty::withSemverValue(name, std::string(value.get_string()));
    }
    if (type == KIVC_customPropertyTypeDouble && value.is_number()) {
        return KIVCustomProperty::withDoubleValue(name, value.to_number<double>());
    }
    const bool isPlain = (type == KIVC_customPropertyTypeString && value.is_string()) ||
                         (type == KIVC_customPropertyTypeBool && value.is_bool()) ||
                         (type == KIVC_customPropertyTypeInt && int32(value));
    if (isPlain) {
        return plainProperty(name, value);
    }
    if (std::ranges::find(propertyTypes, type) == std::end(propertyTypes)) {
        refuseType(type);
    }
    throw BadInput("the value " + compactJson(value) + " does not fit the type " + inQuotes(type), {},
                   "The type takes " + std::string(formOfType(type)) + ".");
}

bool isTextType(std::string_view type) {
    return type == KIVC_customPropertyTypeString || type == KIVC_customPropertyTypeSemver;
}

/// A boolean or a number when the text is written like one, else the text.
json::value literal(const std::string& text) {
    if (text == KivxTrue || text == KivxFalse) {
        return text == KivxTrue;
    }
    if (const std::optional<Number> number = parseNumber(text)) {
        return std::visit([](auto value) { return json::value(value); }, *number);
    }
    return json::value(text);
}

/// Like `literal`, but a number stays a text when kiv would write it in another way, as with 007.
json::value untypedLiteral(const std::string& text) {
    json::value value = literal(text);
    const bool keepsText = !value.is_number() || contextValueFromJson(value).description() == text;
    return keepsText ? value : json::value(text);
}

} // namespace

Property propertyFromJson(const std::string& name, const json::value& value) {
    if (!value.is_object()) {
        return plainProperty(name, value);
    }
    const json::string* type = textMember(value, "type");
    const json::value* inner = member(value, "value");
    if (!type || !inner) {
        throw BadInput("an object needs a text \"type\" and a \"value\"");
    }
    for (const auto& [key, ignored] : value.get_object()) {
        if (key != "type" && key != "value") {
            throw BadInput("an object has \"type\" and \"value\" only, and not " + inQuotes(key));
        }
    }
    return typedProperty(name, *type, *inner);
}

KIVDate dateFromJson(const json::value& value) {
    constexpr std::int64_t farthest = std::int64_t{1} << 40; // beyond any calendar
    if (const std::int64_t* seconds = value.if_int64();
        seconds && *seconds > -farthest && *seconds < farthest) {
        return KIVDate(std::chrono::seconds(*seconds));
    }
    if (const double* seconds = value.if_double(); seconds && std::abs(*seconds) < farthest) {
        return KIVDate(
            std::chrono::round<std::chrono::microseconds>(std::chrono::duration<double>(*seconds)));
    }
    const json::string* text = value.if_string();
    const std::optional<KIVDate> parsed = text ? parseDate(*text) : std::nullopt;
    if (!parsed) {
        throw BadInput("is no date", {},
                       "Write a date like \"2026-01-31T12:00:00.000Z\", or a number of seconds since 1970.");
    }
    return *parsed;
}

KivxValue contextValueFromJson(const json::value& value) {
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
    throw BadInput("must be a text, a number, a boolean or null");
}

NamedText namedText(std::string_view text) {
    const std::size_t equals = text.find('=');
    const std::string_view head = text.substr(0, equals);
    const std::size_t colon = head.rfind(':');
    const std::string_view name = head.substr(0, colon);
    if (equals == text.npos || name.empty()) {
        throw WrongUsage(inQuotes(text) + " does not have the form NAME=VALUE");
    }
    return {std::string(name), std::string(colon == head.npos ? "" : head.substr(colon + 1)),
            std::string(text.substr(equals + 1))};
}

Property propertyFromText(const NamedText& text) {
    if (text.type.empty()) {
        return plainProperty(text.name, untypedLiteral(text.value));
    }
    return typedProperty(text.name, text.type,
                         isTextType(text.type) ? json::value(text.value) : literal(text.value));
}

KivxValue contextValueFromText(const NamedText& text) {
    if (text.type.empty()) {
        return contextValueFromJson(untypedLiteral(text.value));
    }
    if (text.type == KIVC_customPropertyTypeSemver || text.type == KIVC_customPropertyTypeDateTime) {
        throw BadInput("no value of the context has the type " + inQuotes(text.type), {},
                       "Its types are string, bool, int and double; a property can have every type.");
    }
    propertyFromText(text); // throws when the value does not fit the type
    return contextValueFromJson(isTextType(text.type) ? json::value(text.value) : literal(text.value));
}

} // namespace kiv::tool
