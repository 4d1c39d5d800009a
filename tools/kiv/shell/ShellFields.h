#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kiv/KIVDate.h>
#include <kiv/KIVDynamicPropertyContext.h>

#include "Command.h"
#include "Platform/Text/Json.h"

namespace kiv::tool {

/// Reading of a JSON value as the type asked for. Each throws `BadInput` that says what the value must be.
void readValue(const json::value& value, bool& result);
void readValue(const json::value& value, int& result);
void readValue(const json::value& value, unsigned& result);
void readValue(const json::value& value, double& result);
void readValue(const json::value& value, std::string& result);
void readValue(const json::value& value, KIVDate& result);
void readValue(const json::value& value, KIVDynamicPropertyContext::Values& result);
void readValue(const json::value& value, json::object& result);

/// The text of a text, a number or a boolean, as a flag would write it.
struct FlagText {
    std::string text;
};
void readValue(const json::value& value, FlagText& result);

template <class T>
void readValue(const json::value& value, std::vector<T>& result);

/// Null is nothing.
template <class T>
void readValue(const json::value& value, std::optional<T>& result) {
    result.reset();
    if (!value.is_null()) {
        readValue(value, result.emplace());
    }
}

template <class T>
void readValue(const json::value& value, std::vector<T>& result) {
    const json::array* elements = value.if_array();
    if (!elements) {
        throw BadInput("must be an array");
    }
    result.clear();
    for (const json::value& element : *elements) {
        readValue(element, result.emplace_back());
    }
}

/// The fields of an object, by name and type. What is wrong with one ends in a `BadInput` that names it.
class ShellFields {
public:
    /// Borrows the object.
    explicit ShellFields(const json::object& object) : object_(object) {}

    /// The same, and allows no other fields than the known ones.
    ShellFields(const json::object& object, const std::vector<std::string_view>& known,
                std::string_view owner)
        : ShellFields(object) {
        allowOnly(known, owner);
    }

    /// Refuses fields that are not among the known ones; `owner` says in that message whose they are.
    void allowOnly(const std::vector<std::string_view>& known, std::string_view owner) const;

    bool has(std::string_view name) const { return object_.contains(name); }

    /// The field, which must be there.
    template <class T>
    T get(std::string_view name) const {
        if (!has(name)) {
            refuse(name, "is missing");
        }
        return read<T>(name);
    }

    /// Nothing when the field is missing or null.
    template <class T>
    std::optional<T> find(std::string_view name) const {
        return has(name) ? read<std::optional<T>>(name) : std::nullopt;
    }

    /// A field that may be missing or null.
    template <class T>
    T getOr(std::string_view name, T otherwise = {}) const {
        return find<T>(name).value_or(std::move(otherwise));
    }

    /// Leaves `target` as it is when the field is missing or null.
    template <class T>
    void assign(std::string_view name, T& target) const {
        if (auto value = find<T>(name)) {
            target = std::move(*value);
        }
    }

    /// The one of the choices that the field, which must be there, names.
    std::string_view choice(std::string_view name, const std::vector<std::string_view>& choices) const;

    /// Throws `BadInput` about that field.
    [[noreturn]] static void refuse(std::string_view name, const std::string& why);

private:
    template <class T>
    T read(std::string_view name) const {
        T result{};
        try {
            readValue(object_.at(name), result);
        } catch (const BadInput& problem) {
            refuse(name, problem.what());
        }
        return result;
    }

    const json::object& object_;
};

} // namespace kiv::tool
