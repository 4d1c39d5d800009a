#include "shell/ShellFields.h"

#include <algorithm>
#include <limits>

#include "Terminal.h"
#include "evaluate/InputValue.h"
#include "expression/Words.h"

namespace kiv::tool {
namespace {

/// The value as a number of type T. Throws `BadInput(expected)` when it is no whole number or out of range.
template <class T>
T wholeNumber(const json::value& value, const char* expected) {
    const std::int64_t* integer = value.if_int64();
    if (!integer || !std::in_range<T>(*integer)) {
        throw BadInput(expected);
    }
    return static_cast<T>(*integer);
}

} // namespace

void readValue(const json::value& value, bool& result) {
    const bool* truth = value.if_bool();
    if (!truth) {
        throw BadInput("must be true or false");
    }
    result = *truth;
}

void readValue(const json::value& value, int& result) {
    result = wholeNumber<int>(value, "must be a whole number of 32 bits");
}

void readValue(const json::value& value, unsigned& result) {
    result = wholeNumber<unsigned>(value, "must be a whole number, 0 or greater");
}

void readValue(const json::value& value, double& result) {
    if (!value.is_number()) {
        throw BadInput("must be a number");
    }
    result = value.to_number<double>();
}

void readValue(const json::value& value, std::string& result) {
    const json::string* text = value.if_string();
    if (!text) {
        throw BadInput("must be a text");
    }
    result = std::string(*text);
}

void readValue(const json::value& value, KIVDate& result) { result = dateFromJson(value); }

void readValue(const json::value& value, KIVDynamicPropertyContext::Values& result) {
    json::object values;
    readValue(value, values);
    result.clear();
    for (const auto& [name, each] : values) {
        try {
            result.insert_or_assign(std::string(name), contextValueFromJson(each));
        } catch (const BadInput& problem) {
            ShellFields::refuse(name, problem.reason());
        }
    }
}

void readValue(const json::value& value, json::object& result) {
    const json::object* object = value.if_object();
    if (!object) {
        throw BadInput("must be an object");
    }
    result = *object;
}

void readValue(const json::value& value, FlagText& result) {
    if (!value.is_string() && !value.is_number() && !value.is_bool()) {
        throw BadInput("must be a text, a number or a boolean");
    }
    result.text = contextValueFromJson(value).stringValue().value_or("");
}

void ShellFields::allowOnly(const std::vector<std::string_view>& known, std::string_view owner) const {
    for (const auto& [name, value] : object_) {
        if (std::ranges::find(known, std::string_view(name)) == known.end()) {
            throw BadInput(inQuotes(owner) + " has no field " + inQuotes(name) + "." +
                           didYouMean(name, known, " ") + " Its fields are " + listed(known) + ".");
        }
    }
}

std::string_view ShellFields::choice(std::string_view name,
                                     const std::vector<std::string_view>& choices) const {
    const auto word = get<std::string>(name);
    const auto found = std::ranges::find(choices, word);
    if (found == choices.end()) {
        refuse(name,
               inQuotes(word) + " is none of " + listed(choices) + "." + didYouMean(word, choices, " "));
    }
    return *found;
}

void ShellFields::refuse(std::string_view name, const std::string& why) {
    throw BadInput(inQuotes(name) + ": " + why);
}

} // namespace kiv::tool
