#include "evaluate/ValueText.h"

#include <utility>

#include "Platform/Text/Dates.h"

namespace kiv::tool {
namespace {

json::value arrayToJson(const KivxValue::Elements& elements) {
    json::array array;
    for (const KivxValue& element : elements) {
        array.push_back(toJson(element));
    }
    return array;
}

json::value dictionaryToJson(const KivxValue::Dictionary& members) {
    json::object object;
    for (const auto& [key, value] : members) {
        object.insert_or_assign(toText(key), toJson(value));
    }
    return object;
}

} // namespace

std::string_view typeName(const KivxValue& value) {
    switch (value.kind()) {
    case KivxValue::Kind::boolean:
        return "bool";
    case KivxValue::Kind::integer:
        return "int";
    case KivxValue::Kind::real:
        return "double";
    case KivxValue::Kind::string:
        return "string";
    case KivxValue::Kind::date:
        return "date";
    case KivxValue::Kind::array:
        return "array";
    case KivxValue::Kind::dictionary:
        return "dictionary";
    case KivxValue::Kind::none:
    case KivxValue::Kind::undefined:
        break;
    }
    return "undefined";
}

json::value toJson(const KivxValue& value) {
    switch (value.kind()) {
    case KivxValue::Kind::boolean:
        return value.boolValue();
    case KivxValue::Kind::integer:
        return *value.integer();
    case KivxValue::Kind::real:
        return *value.real();
    case KivxValue::Kind::string:
        return json::string(*value.text());
    case KivxValue::Kind::date:
        return json::string(dateText(*value.date()));
    case KivxValue::Kind::array:
        return arrayToJson(*value.elements());
    case KivxValue::Kind::dictionary:
        return dictionaryToJson(*value.dictionary());
    case KivxValue::Kind::none:
    case KivxValue::Kind::undefined:
        break;
    }
    return nullptr;
}

json::object outcome(const KivxValue& value) {
    if (value.isUndefined()) {
        return {{"outcome", "undefined"}};
    }
    if (value.isNone()) {
        return {{"outcome", "empty"}};
    }
    return {{"outcome", "value"},
            {"type", typeName(value)},
            {"value", toJson(value)},
            {"stringValue", orNull(value.stringValue())}};
}

json::object outcome(const std::optional<KivxEvaluationResult>& result) {
    return outcome(result ? result->value() : KivxValue::undefined());
}

json::value orNull(const std::optional<std::string>& text) {
    return text ? json::value(*text) : json::value();
}

void append(json::object& object, json::object more) {
    for (auto& [name, value] : more) {
        object.emplace(name, std::move(value));
    }
}

bool holds(const KivxValue& condition) { return !condition.isUndefined() && condition.boolValue(); }

std::string toText(const KivxValue& value) {
    if (value.isUndefined()) {
        return "undefined";
    }
    const json::value document = toJson(value);
    const json::string* text = document.if_string();
    return text ? std::string(*text) : compactJson(document);
}

} // namespace kiv::tool
