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

/// Read a JSON value into `result`. Each throws `BadInput` that says what the value must be.
void readValue(const json::value& value, bool& result);
void readValue(const json::value& value, int& result);
void readValue(const json::value& value, unsigned& result);
void readValue(const json::value& value, double& result);
void readValue(const json::value& value, std::string& result);
void readValue(const json::value& value, KIVDate& result);
void readValue(const json::value& value, KIVDynamicPropertyContext::Values& result);
void readValue(const json::value& value, json::object& result);

/// The text that a flag has as its value, read from a JSON text, number or boolean.
struct FlagText {
    std::string text;
};
void readValue(const json::value& value, FlagText& result);

template <class T>
void readValue(const json::value& value, std::vector<T>& result);

/// Null becomes nullopt.
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

/// The fields of an object, by name and type. All functions that read a field throw `BadInput` that names it
/// when it is missing or has another type.
class ShellFields {
public:
    /// Borrows the object.
    explicit ShellFields(const json::object& object) : object_(object) {}

    /// Borrows the object, and calls `allowOnly(known, owner)`.
    ShellFields(const json::object& object, const std::vector<std::string_view>& known,
                std::string_view owner)
        : ShellFields(object) {
        allowOnly(known, owner);
    }

    /// Throws `BadInput` for a field that is not in `known`. The message calls the object `owner`.
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

    /// The field; nothing when it is missing or null.
    template <class T>
    std::optional<T> find(std::string_view name) const {
        return has(name) ? read<std::optional<T>>(name) : std::nullopt;
    }

    /// The field; `otherwise` when it is missing or null.
    template <class T>
    T getOr(std::string_view name, T otherwise = {}) const {
        return find<T>(name).value_or(std::move(otherwise));
    }

    /// Reads the field into `target`. Leaves `target` as it is when the field is missing or null.
    template <class T>
    void assign(std::string_view name, T& target) const {
        if (auto value = find<T>(name)) {
            target = std::move(*value);
        }
    }

    /// The element of `choices` that equals the field, which must be there.
    std::string_view choice(std::string_view name, const std::vector<std::string_view>& choices) const;

    /// Throws `BadInput` about the field.
    [[noreturn]] static void refuse(std::string_view name, const std::string& why);

private:
    template <class T>
    T read(std::string_view name) const {
        T result{};
        try {
            readValue(object_.at(name), result);
        } catch (const BadInput& problem) {
            refuse(name, problem.reason());
        }
        return result;
    }

    const json::object& object_;
};

} // namespace kiv::tool
