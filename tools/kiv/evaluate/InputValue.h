#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <kiv/KIVCustomProperty.h>
#include <kiv/KIVDate.h>
#include <kiv/KivxValue.h>

#include "Platform/Text/Json.h"

/// Reads values that a person gives to an evaluation. All functions throw `BadInput`, which says what is
/// wrong with the value but not where it stands.
namespace kiv::tool {

using Property = std::shared_ptr<const KIVCustomProperty>;

/// The names of the types that a property can have.
inline constexpr std::string_view propertyTypes[] = {
    KIVC_customPropertyTypeString, KIVC_customPropertyTypeSemver, KIVC_customPropertyTypeDateTime,
    KIVC_customPropertyTypeBool,   KIVC_customPropertyTypeInt,    KIVC_customPropertyTypeDouble};

/// A property from JSON: a text, a number, a boolean, or {"type", "value"}.
Property propertyFromJson(const std::string& name, const json::value& value);

/// A value of the context from JSON: a text, a number, a boolean or null.
KivxValue contextValueFromJson(const json::value& value);

/// A date from JSON: ISO 8601 text, or seconds since 1970.
KIVDate dateFromJson(const json::value& value);

/// A name and a value from the command line, written NAME=VALUE or NAME:TYPE=VALUE.
struct NamedText {
    std::string name;
    std::string type; ///< empty when none is given
    std::string value;
};

/// Throws `WrongUsage` when there is no equals sign or nothing before it.
NamedText namedText(std::string_view text);

/// Without a type, a value that is written like a boolean or a number becomes one, and every other value a
/// text: 2.10 and 007 too, because a number would not keep how they are written.
Property propertyFromText(const NamedText& text);
KivxValue contextValueFromText(const NamedText& text);

} // namespace kiv::tool
