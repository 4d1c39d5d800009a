#include "evaluate/EvaluationOptions.h"

#include <CLI/CLI.hpp>

#include "Command.h"
#include "Terminal.h"

namespace kiv::tool {
namespace {

constexpr std::string_view propertyOption = "--property";
constexpr std::string_view contextOption = "--context";
constexpr std::string_view targetGroupOption = "--target-group";

/// Calls `read` with each text. Puts the name of the option before the message of what `read` throws.
template <class Read>
void forEachOf(const std::vector<std::string>& texts, std::string_view option, Read read) {
    for (const std::string& text : texts) {
        try {
            read(text);
        } catch (const WrongUsage& problem) {
            throw WrongUsage(std::string(option) + ": " + problem.what());
        } catch (const BadInput& problem) {
            throw BadInput(std::string(option) + " " + inQuotes(text) + ": " + problem.what(), {},
                           problem.advice);
        }
    }
}

} // namespace

std::vector<Property> propertiesFrom(const std::vector<std::string>& texts, std::string_view option) {
    std::vector<Property> properties;
    forEachOf(texts, option,
              [&](const std::string& text) { properties.push_back(propertyFromText(namedText(text))); });
    return properties;
}

void EvaluationOptions::addTo(CLI::App& command) {
    const auto add = [&command](std::string_view name, std::vector<std::string>& texts, const char* help,
                                const char* form) {
        command.add_option(std::string(name), texts, help)->type_name(form)->allow_extra_args(false);
    };
    add(propertyOption, properties_, "A property; may be repeated", "NAME[:TYPE]=VALUE");
    add(contextOption, context_, "A value of the dynamic context; may be repeated", "NAME[:TYPE]=VALUE");
    add(targetGroupOption, targetGroups_, "A target group and its condition; may be repeated",
        "ID=CONDITION");
}

EvaluationRequest EvaluationOptions::request() const {
    EvaluationRequest request;
    request.properties = propertiesFrom(properties_, propertyOption);
    forEachOf(context_, contextOption, [&](const std::string& text) {
        const NamedText named = namedText(text);
        request.context.insert_or_assign(named.name, contextValueFromText(named));
    });
    forEachOf(targetGroups_, targetGroupOption, [&](const std::string& text) {
        const std::size_t equals = text.find('=');
        if (equals == text.npos || equals == 0) {
            throw WrongUsage(inQuotes(text) + " does not have the form ID=CONDITION");
        }
        request.targetGroups.emplace_back(text.substr(0, equals), text.substr(equals + 1));
    });
    return request;
}

} // namespace kiv::tool
