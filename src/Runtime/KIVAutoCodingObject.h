#pragma once

#include <functional>
#include <string>
#include <vector>

#include <boost/json/value_from.hpp>
#include <boost/json/value_to.hpp>

#include "Platform/Text/Json.h"

/// An object that archives itself by a table of its properties.
///
/// Each class gives a table of the properties that it declares itself, linked to its base class's table:
///
///     static const Table& table() {
///         static const Table& own = *new Table{&Base::table(), {archived("name", &Derived::name_)}};
///         return own;
///     }
///     const Table& archivedProperties() const override { return table(); }
class KIVAutoCodingObject {
public:
    struct Property {
        std::string name;
        std::function<kiv::json::value(const KIVAutoCodingObject& object)> get;
        /// Leaves the property as it is when the value is of another kind.
        std::function<void(KIVAutoCodingObject& object, const kiv::json::value& value)> set;
    };
    struct Table {
        const Table* base; ///< the base class's table; null when it has none
        std::vector<Property> own;
    };

    virtual ~KIVAutoCodingObject() = default;

    /// The names of the class's own properties, then its base classes'.
    std::vector<std::string> propertyNames() const;

    /// Puts every property into the archive under its name.
    void encodeWithCoder(kiv::json::object& archive) const;

    /// Sets every property that the archive holds; the others stay as they are.
    void decodeWithCoder(const kiv::json::object& archive);

protected:
    KIVAutoCodingObject() = default;
    KIVAutoCodingObject(const KIVAutoCodingObject&) = default;
    KIVAutoCodingObject& operator=(const KIVAutoCodingObject&) = default;

    virtual const Table& archivedProperties() const = 0;

    /// A property kept in a field, of any type that has a form in JSON.
    template <class Class, class Field>
    static Property archived(std::string name, Field Class::*field) {
        return {std::move(name),
                [field](const KIVAutoCodingObject& object) {
                    return kiv::json::value_from(static_cast<const Class&>(object).*field);
                },
                [field](KIVAutoCodingObject& object, const kiv::json::value& value) {
                    if (auto decoded = kiv::json::try_value_to<Field>(value)) {
                        static_cast<Class&>(object).*field = std::move(*decoded);
                    }
                }};
    }
};
