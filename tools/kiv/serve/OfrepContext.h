#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include <kiv/KivxValue.h>

#include "Platform/Text/Json.h"

namespace kiv::tool {

/// The error of a request, or of one flag, in the words of the OpenFeature Remote Evaluation Protocol.
struct OfrepError {
    std::string_view code; ///< one of `ofrepError`
    std::string details;   ///< for a person
    unsigned status = 400; ///< of an answer that has nothing but this error
};

namespace ofrepError {
inline constexpr std::string_view parse = "PARSE_ERROR";
inline constexpr std::string_view targetingKeyMissing = "TARGETING_KEY_MISSING";
inline constexpr std::string_view invalidContext = "INVALID_CONTEXT";
inline constexpr std::string_view flagNotFound = "FLAG_NOT_FOUND";
inline constexpr std::string_view general = "GENERAL";
} // namespace ofrepError

/// What the state of a key says of its flags and properties.
struct OfrepDeclarations {
    /// The type of each property, one of the `KIVC_customPropertyType…` constants.
    std::map<std::string, std::string, std::less<>> properties;
    /// True for a flag that is on or off, false for any other flag.
    std::map<std::string, bool, std::less<>> flags;

    /// Reads a state document. Skips what has another form.
    static OfrepDeclarations from(const json::value& state);
};

/// The properties of one request, as expressions read them. Immutable.
class OfrepContext {
public:
    /// Levels of objects and lists that a context may have.
    static constexpr std::size_t mostLevels = 32;

    /// Takes the member "context" of a request's body. A text that begins with "semver:" is the version after
    /// it, and one that begins with "date:" the date; else a text or a number is a date when the declarations
    /// say so. Texts, numbers and booleans are properties, nulls, objects and lists are not. Throws
    /// `OfrepError`.
    OfrepContext(const json::object& body, const OfrepDeclarations& declared);

    /// The value of the property; null when the context has none. The targeting key is the property
    /// `distinct_id`, and also `kiv.distinct_id` unless the context has a member of that name.
    const KivxValue* find(std::string_view name) const;

    static bool isTargetingKey(std::string_view name) {
        return name == targetingKeyProperty || name == "kiv.distinct_id";
    }

    /// Empty when there is none.
    std::string targetingKey() const;

private:
    static constexpr std::string_view targetingKeyProperty = "distinct_id";

    std::map<std::string, KivxValue, std::less<>> values_;
};

} // namespace kiv::tool
