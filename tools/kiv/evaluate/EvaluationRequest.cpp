#include "evaluate/EvaluationRequest.h"

#include <algorithm>

#include "Command.h"
#include "Terminal.h"
#include "expression/Words.h"

namespace kiv::tool {
namespace {

[[noreturn]] void refuse(std::string_view member, std::string_view name, const std::string& why) {
    throw BadInput("\"" + std::string(member) + "\"" + (name.empty() ? "" : ": " + inQuotes(name)) + ": " +
                   why);
}

void refuseUnknownMembers(const json::object& request) {
    constexpr std::string_view known[] = {"expression", "flagName", "properties", "context", "targetGroups"};
    for (const auto& [name, ignored] : request) {
        if (std::ranges::find(known, std::string_view(name)) == std::end(known)) {
            throw BadInput("a request has no member " + inQuotes(name) + "." + didYouMean(name, known, " ") +
                           " Its members are " + listed(known));
        }
    }
}

/// Calls `read` with the name and the value of each member of the object that `document` has under the name
/// `object`; does nothing when it has none.
template <class Read>
void forEachIn(const json::value& document, std::string_view object, Read read) {
    const json::value* found = member(document, object);
    if (!found) {
        return;
    }
    if (!found->is_object()) {
        refuse(object, "", "must be an object");
    }
    for (const auto& [name, value] : found->get_object()) {
        try {
            read(std::string(name), value);
        } catch (const BadInput& problem) {
            refuse(object, name, problem.reason());
        }
    }
}

} // namespace

EvaluationRequest parseRequest(const json::value& document) {
    if (!document.is_object()) {
        throw BadInput("a request must be a JSON object");
    }
    const json::string* expression = textMember(document, "expression");
    if (!expression && !member(document, "expression")) {
        refuseUnknownMembers(document.get_object()); // perhaps it is misspelt
    }
    if (!expression) {
        throw BadInput(member(document, "expression") ? "\"expression\": must be a text"
                                                      : "\"expression\": is missing");
    }
    refuseUnknownMembers(document.get_object());
    EvaluationRequest request{std::string(*expression)};
    if (const json::value* flagName = member(document, "flagName")) {
        if (!flagName->is_string()) {
            refuse("flagName", "", "must be a text");
        }
        request.flagName = std::string(flagName->get_string());
    }
    forEachIn(document, "properties", [&](const std::string& name, const json::value& value) {
        request.properties.push_back(propertyFromJson(name, value));
    });
    forEachIn(document, "context", [&](const std::string& name, const json::value& value) {
        request.context.insert_or_assign(name, contextValueFromJson(value));
    });
    forEachIn(document, "targetGroups", [&](const std::string& identifier, const json::value& condition) {
        if (!condition.is_string()) {
            throw BadInput("the condition must be a text");
        }
        request.targetGroups.emplace_back(identifier, std::string(condition.get_string()));
    });
    return request;
}

} // namespace kiv::tool
