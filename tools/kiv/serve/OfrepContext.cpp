#include "serve/OfrepContext.h"

#include <algorithm>
#include <optional>
#include <variant>

#include <kiv/KIVCustomProperty.h>

#include "Command.h"
#include "Platform/Text/Text.h"
#include "Terminal.h"
#include "evaluate/InputValue.h"

namespace kiv::tool {
namespace {

constexpr std::string_view targetingKeyMember = "targetingKey";
constexpr std::string_view versionPrefix = "semver:";
constexpr std::string_view datePrefix = "date:";

/// A date after the prefix: a number of seconds, or a text.
json::value dateAfterPrefix(std::string_view text) {
    const std::optional<Number> seconds = parseNumber(text);
    return seconds ? std::visit([](auto number) { return json::value(number); }, *seconds)
                   : json::value(json::string(text));
}

/// The property that the member of a context stands for; `none` when it stands for none.
KivxValue propertyFrom(const json::value& value, std::string_view declared) {
    const json::string* text = value.if_string();
    if (text && text->starts_with(versionPrefix)) {
        return std::string(text->subview(versionPrefix.size()));
    }
    if (text && text->starts_with(datePrefix)) {
        return dateFromJson(dateAfterPrefix(text->subview(datePrefix.size())));
    }
    if ((text || value.is_number()) && declared == KIVC_customPropertyTypeDateTime) {
        return dateFromJson(value);
    }
    return value.is_structured() ? KivxValue() : contextValueFromJson(value);
}

/// Calls `read` with each element of the document's list that has a text "name".
template <class Read>
void forEachNamed(const json::value& document, std::string_view list, Read read) {
    const json::array* elements = arrayMember(document, list);
    for (std::size_t i = 0; elements && i < elements->size(); ++i) {
        if (const json::string* name = textMember((*elements)[i], "name")) {
            read(std::string(*name), (*elements)[i]);
        }
    }
}

bool isTruth(const json::value& text) {
    return text.is_string() && (text.get_string() == "true" || text.get_string() == "false");
}

} // namespace

OfrepDeclarations OfrepDeclarations::from(const json::value& state) {
    OfrepDeclarations declared;
    forEachNamed(state, "custom_properties", [&](std::string name, const json::value& property) {
        if (const json::string* type = textMember(property, "type")) {
            declared.properties.insert_or_assign(std::move(name), std::string(*type));
        }
    });
    forEachNamed(state, "feature_flags", [&](std::string name, const json::value& flag) {
        const json::array* options = arrayMember(flag, "options");
        declared.flags.insert_or_assign(std::move(name), options && !options->empty() &&
                                                             std::ranges::all_of(*options, isTruth));
    });
    return declared;
}

OfrepContext::OfrepContext(const json::object& body, const OfrepDeclarations& declared) {
    const json::object* context = objectMember(body, "context");
    if (!context) {
        throw OfrepError{ofrepError::invalidContext, member(body, "context") ? "\"context\" is no object"
                                                                             : "the body has no \"context\""};
    }
    if (!approximateSize(*context, mostLevels)) {
        throw OfrepError{ofrepError::invalidContext,
                         "the context has more than " + std::to_string(mostLevels) + " levels"};
    }
    for (const auto& [name, value] : *context) {
        if (name == targetingKeyMember) {
            continue;
        }
        try {
            const auto type = declared.properties.find(std::string_view(name));
            KivxValue property =
                propertyFrom(value, type == declared.properties.end() ? "" : std::string_view(type->second));
            if (!property.isNone() && !property.isUndefined()) {
                values_.insert_or_assign(std::string(name), std::move(property));
            }
        } catch (const BadInput& problem) {
            throw OfrepError{ofrepError::invalidContext,
                             "the context's " + inQuotes(name) + ": " + problem.what()};
        }
    }
    const json::value* key = member(*context, targetingKeyMember);
    if (key && !key->is_null() && !key->is_string()) {
        throw OfrepError{ofrepError::invalidContext, "the context's \"targetingKey\" is no text"};
    }
    if (key && key->is_string() && !key->get_string().empty()) {
        values_.insert_or_assign(std::string(targetingKeyProperty), std::string(key->get_string()));
    }
}

const KivxValue* OfrepContext::find(std::string_view name) const {
    auto found = values_.find(name);
    if (found == values_.end() && isTargetingKey(name)) {
        found = values_.find(targetingKeyProperty);
    }
    return found == values_.end() ? nullptr : &found->second;
}

std::string OfrepContext::targetingKey() const {
    const KivxValue* key = find(targetingKeyProperty);
    return key ? key->stringValue().value_or("") : std::string();
}

} // namespace kiv::tool
