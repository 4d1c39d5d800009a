#include "config/ConfigDocument.h"

#include <utility>

#include "Command.h"
#include "Files.h"
#include "Model/KIVJSONKeys.h"
#include "Platform/Text/Text.h"
#include "Runtime/KIVVendorJSONSerializationNullRemover.h"
#include "Terminal.h"
#include "expression/Words.h"

namespace kiv::tool {
namespace {

/// Removes " at byte N" from the end of the parser's message and returns N; 0 when the message ends
/// differently.
std::size_t takePosition(std::string& message) {
    constexpr std::string_view mark = " at byte ";
    const std::size_t found = message.rfind(mark);
    if (found == message.npos) {
        return 0;
    }
    const std::int64_t position = readInteger(std::string_view(message).substr(found + mark.size()));
    message.resize(found);
    return static_cast<std::size_t>(position);
}

std::string textOr(const json::value& object, std::string_view name, std::string other) {
    const json::string* text = textMember(object, name);
    return text ? std::string(*text) : std::move(other);
}

const json::array& arrayOf(const json::object& payload, std::string_view name) {
    static const json::array& none = *new json::array;
    const json::array* found = arrayMember(payload, name);
    return found ? *found : none;
}

[[noreturn]] void refuseFlag(const ConfigDocument& document, const std::string& flag) {
    const json::array& experiments = experimentsOf(document.payload);
    std::vector<std::string_view> names;
    for (std::size_t index = 0; index < experiments.size(); ++index) {
        for (const std::string_view name : flagsOf(experiments[index])) {
            if (name == flag) {
                throw BadInput(
                    document.path + ": " + experimentPlace(index + 1, experiments[index]).text() +
                        " names the flag " + inQuotes(flag) + ", but has no condition, so it is skipped",
                    {},
                    "Give it a \"condition\" in its \"deploymentConfiguration\". Until then the flag has the "
                    "application's default.");
            }
            names.push_back(name);
        }
    }
    const std::string_view meant = closest(flag, names);
    throw BadInput(document.path + ": the document does not name the flag " + inQuotes(flag), {},
                   names.empty() ? "It names no flag at all: add it to the \"featureFlags\" of an experiment."
                   : meant.empty() ? "'kiv config show' lists its flags. Flags that a document does not name "
                                     "have the application's default."
                                   : "Did you mean " + std::string(meant) + "?");
}

} // namespace

json::object parseObject(std::string_view text, const std::string& name) {
    const std::string prefix = name.empty() ? "" : name + ": ";
    std::string error;
    auto document = KIVVendorJSONSerializationNullRemover::JSONObjectWithData(text, &error, true, false);
    if (!document) {
        const std::size_t position = takePosition(error);
        throw BadInput(prefix + "no JSON: " + error, Spot{std::string(text), position},
                       "A document is a JSON object: texts stand in double quotes, commas between members.");
    }
    if (!document->is_object()) {
        throw BadInput(prefix + "no JSON object: it begins with an array", {},
                       "A payload is an object: {\"application\": KEY, \"experiments\": […]}.");
    }
    return std::move(document->get_object());
}

bool isEnvelope(const json::object& document) {
    return document.contains(KIVC_JSON_data) || document.contains(KIVC_JSON_signature) ||
           document.contains(KIVC_JSON_data_signedDate);
}

ConfigDocument::ConfigDocument(const std::string& file) : ConfigDocument(file, readInput(file)) {}

ConfigDocument::ConfigDocument(const std::string& file, std::string_view text)
    : path(file), payload(parseObject(text, file)) {
    if (!isEnvelope(payload)) {
        return;
    }
    envelope = std::move(payload);
    const json::string* data = textMember(*envelope, KIVC_JSON_data);
    if (!data) {
        throw BadInput(path +
                           (envelope->contains(KIVC_JSON_data)
                                ? ": the envelope's \"data\" is no text; it must hold the payload as one text"
                                : ": the envelope has no \"data\""),
                       {}, "'kiv config sign' makes an envelope of a payload.");
    }
    payload = parseObject(*data, path + ": \"data\"");
}

std::string Place::text() const {
    if (kind == Kind::document) {
        return "";
    }
    return (kind == Kind::experiment ? "experiment " : "target group ") + std::to_string(index) +
           (name.empty() ? "" : " " + inQuotes(name));
}

const json::array& experimentsOf(const json::object& payload) {
    return arrayOf(payload, KIVC_JSON_data_experiments);
}

const json::array& targetGroupsOf(const json::object& payload) {
    return arrayOf(payload, KIVC_JSON_data_targetGroups);
}

Place experimentPlace(std::size_t index, const json::value& experiment) {
    return {Place::Kind::experiment, index, textOr(experiment, KIVC_JSON_data_experimentsName, "")};
}

Place targetGroupPlace(std::size_t index, const json::value& group) {
    return {Place::Kind::targetGroup, index, textOr(group, KIVC_JSON_data_targetGroupsGroupId, "")};
}

std::map<std::string_view, std::size_t> deciders(const json::object& payload) {
    std::map<std::string_view, std::size_t> result;
    const json::array& experiments = experimentsOf(payload);
    for (std::size_t index = 0; index < experiments.size(); ++index) {
        if (conditionOf(experiments[index])) {
            for (const std::string_view flag : flagsOf(experiments[index])) {
                result.insert_or_assign(flag, index);
            }
        }
    }
    return result;
}

std::size_t deciderOf(const ConfigDocument& document, const std::string& flag) {
    const auto all = deciders(document.payload);
    const auto found = all.find(flag);
    if (found == all.end()) {
        refuseFlag(document, flag);
    }
    return found->second;
}

const json::string* conditionOf(const json::value& experiment) {
    const json::value* deployment = member(experiment, KIVC_JSON_data_experimentsDeploymentConfiguration);
    return deployment ? textMember(*deployment, KIVC_JSON_data_experimentsCondition) : nullptr;
}

std::vector<std::string_view> flagsOf(const json::value& experiment) {
    std::vector<std::string_view> names;
    if (const json::array* flags = arrayMember(experiment, KIVC_JSON_data_experimentsFeatureFlags)) {
        for (const json::value& flag : *flags) {
            const json::string* name = textMember(flag, KIVC_featureFlag_name);
            if (name && !name->empty()) {
                names.emplace_back(*name);
            }
        }
    }
    return names;
}

} // namespace kiv::tool
