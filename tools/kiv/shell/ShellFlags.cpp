#include <set>

#include <kiv/KIVBaseContainer.h>
#include <kiv/KIVCore.h>
#include <kiv/KIVDouble.h>
#include <kiv/KIVDynamicAPI.h>
#include <kiv/KIVFlag.h>
#include <kiv/KIVFlagsOverrides.h>
#include <kiv/KIVInt.h>

#include "Flags/KIVClassRegister.h"
#include "Terminal.h"
#include "expression/Words.h"
#include "shell/ShellSession.h"

namespace kiv::tool {
namespace {

using Flag = std::shared_ptr<KIVString>;
using Context = std::optional<KIVDynamicPropertyContext>;
using NullableTexts = std::vector<std::optional<std::string>>;

/// A container whose members a script declares.
class ScriptedContainer final : public KIVBaseContainer {
public:
    using Members = std::vector<std::pair<std::string, Flag>>;

    explicit ScriptedContainer(Members members) : members_(std::move(members)) {}

    KIVContainerTable kivContainerTable() override {
        KIVContainerTable table;
        for (auto& [name, flag] : members_) {
            table.add(name, flag);
        }
        return table;
    }

private:
    Members members_;
};

std::vector<KIVNullableString> nullable(const NullableTexts& texts) {
    return std::vector<KIVNullableString>(texts.begin(), texts.end());
}

template <class T, class Default, class Variations>
Flag makeFlag(const Default& defaultValue, const Variations& variations, std::optional<unsigned> freeze) {
    return freeze ? std::make_shared<T>(defaultValue, variations, *freeze)
                  : std::make_shared<T>(defaultValue, variations);
}

void refuseVariations(const ShellFields& fields) {
    if (fields.has("variations")) {
        ShellFields::refuse("variations", "must be left out, a boolean flag always has true and false");
    }
}

Flag flagFrom(const ShellFields& fields) {
    const std::string_view type = fields.choice("type", {"flag", "string", "int", "double"});
    const auto freeze = fields.find<unsigned>("freeze");
    if (type == "flag") {
        refuseVariations(fields);
        const auto defaultValue = fields.get<bool>("default");
        return freeze ? std::make_shared<KIVFlag>(defaultValue, *freeze)
                      : std::make_shared<KIVFlag>(defaultValue);
    }
    if (type == "int") {
        return makeFlag<KIVInt>(fields.get<int>("default"), fields.getOr<std::vector<int>>("variations"),
                                freeze);
    }
    if (type == "double") {
        return makeFlag<KIVDouble>(fields.get<double>("default"),
                                   fields.getOr<std::vector<double>>("variations"), freeze);
    }
    return makeFlag<KIVString>(fields.get<std::string>("default"),
                               nullable(fields.getOr<NullableTexts>("variations")), freeze);
}

ScriptedContainer::Members membersFrom(const std::vector<json::object>& flags) {
    ScriptedContainer::Members members;
    std::set<std::string> names;
    for (const json::object& object : flags) {
        const ShellFields fields(object, {"name", "type", "default", "variations", "freeze"}, "flags");
        const auto name = fields.get<std::string>("name");
        if (!names.insert(name).second) {
            ShellFields::refuse("name", inQuotes(name) + " names two flags");
        }
        try {
            members.emplace_back(name, flagFrom(fields));
        } catch (const BadInput& problem) {
            throw BadInput("the flag " + inQuotes(name) + ": " + problem.reason());
        }
    }
    return members;
}

/// The flag with this full name, of the current key or registered by the script. Throws `BadInput` when there
/// is none.
Flag flagNamed(const ShellSession& session, const std::string& name) {
    if (Flag flag = KIVCore::variantWithKey(name)) {
        return flag;
    }
    if (const auto found = session.registered.find(name); found != session.registered.end()) {
        return found->second;
    }
    std::vector<std::string> names;
    for (const Flag& flag : KIVCore::flags()) {
        names.push_back(flag->name().value_or(""));
    }
    const std::vector<std::string_view> candidates(names.begin(), names.end());
    const std::string meant = didYouMean(name, candidates);
    throw BadInput("there is no flag " + inQuotes(name), {},
                   meant.empty() ? "The command \"flags\" lists those there are; \"register\" makes more."
                                 : meant);
}

Flag flagOf(const ShellSession& session, const ShellFields& fields) {
    return flagNamed(session, fields.get<std::string>("name"));
}

Context contextOf(const ShellFields& fields) {
    auto values = fields.find<KIVDynamicPropertyContext::Values>("context");
    return values ? Context(std::move(*values)) : std::nullopt;
}

/// The overrides of the present client. They end with the client, so do not keep the pointer. Throws before
/// setup.
std::shared_ptr<KIVFlagsOverrides> overrides() {
    auto present = KIVCore::overrides();
    if (!present) {
        throw KIVException::internalInconsistency("there are no overrides before setup");
    }
    return present;
}

std::string_view className(const KIVString& flag) {
    return dynamic_cast<const KIVFlag*>(&flag)     ? "KIVFlag"
           : dynamic_cast<const KIVInt*>(&flag)    ? "KIVInt"
           : dynamic_cast<const KIVDouble*>(&flag) ? "KIVDouble"
                                                   : "KIVString";
}

json::array toArray(const std::vector<std::string>& texts) { return json::array(texts.begin(), texts.end()); }

} // namespace

json::object shell::registerFlags(ShellSession& session, const ShellFields& fields) {
    const auto members = membersFrom(fields.get<std::vector<json::object>>("flags"));
    std::optional<std::string> nameSpace = "";
    auto container = std::make_shared<ScriptedContainer>(members);
    if (fields.has("namespace")) {
        nameSpace = fields.get<std::optional<std::string>>("namespace");
        KIVCore::register_(nameSpace, std::move(container));
    } else {
        KIVCore::register_(std::move(container));
    }
    for (const auto& [name, flag] : members) {
        session.registered.emplace(KIVClassRegister::fullName(*nameSpace, name), flag);
    }
    return {};
}

json::object shell::read(ShellSession& session, const ShellFields& fields) {
    const Flag flag = flagOf(session, fields);
    const Context context = contextOf(fields);
    const auto value = [&context](const auto& typed) -> json::value {
        return context ? json::value(typed.value(*context)) : json::value(typed.value());
    };
    if (const auto* boolean = dynamic_cast<const KIVFlag*>(flag.get())) {
        return {{"value", context ? boolean->isEnabled(*context) : boolean->isEnabled()}};
    }
    if (const auto* integer = dynamic_cast<const KIVInt*>(flag.get())) {
        return {{"value", value(*integer)}};
    }
    if (const auto* real = dynamic_cast<const KIVDouble*>(flag.get())) {
        return {{"value", value(*real)}};
    }
    return {{"value", value(*flag)}};
}

json::object shell::peek(ShellSession& session, const ShellFields& fields) {
    return {{"value", flagOf(session, fields)->peek()}};
}

json::object shell::originalValue(ShellSession& session, const ShellFields& fields) {
    return {{"value", flagOf(session, fields)->originalValue()}};
}

json::object shell::describe(ShellSession& session, const ShellFields& fields) {
    const Flag flag = flagOf(session, fields);
    return {{"class", className(*flag)},
            {"default", flag->defaultValue()},
            {"variations", toArray(flag->variations())},
            {"freezeLevel", flag->freezeLevel()},
            {"isUsingDefaultFreezeLevel", flag->isUsingDefaultFreezeLevel()}};
}

json::object shell::forceValue(ShellSession& session, const ShellFields& fields) {
    const Flag flag = flagOf(session, fields);
    flag->forceValue(fields.get<FlagText>("value").text);
    return {};
}

json::object shell::dynamicRead(ShellSession&, const ShellFields& fields) {
    const std::string_view call = fields.choice("call", {"isEnabled", "getValue", "getInt", "getDouble"});
    const auto name = fields.get<std::optional<std::string>>("name");
    const Context values = contextOf(fields);
    const KIVDynamicPropertyContext* context = values ? &*values : nullptr;
    const auto api = KIVCore::dynamicAPI();
    if (call == "isEnabled") {
        refuseVariations(fields);
        return {{"value", api->isEnabled(name, fields.get<bool>("default"), context)}};
    }
    if (call == "getInt") {
        const auto variations = fields.getOr<std::vector<int>>("variations");
        return {{"value", api->getInt(name, fields.get<int>("default"), variations, context)}};
    }
    if (call == "getDouble") {
        const auto variations = fields.getOr<std::vector<double>>("variations");
        return {{"value", api->getDouble(name, fields.get<double>("default"), variations, context)}};
    }
    const auto variations = fields.getOr<NullableTexts>("variations");
    return {
        {"value", api->getValue(name, fields.get<std::string>("default"), nullable(variations), context)}};
}

json::object shell::allFlags(ShellSession&, const ShellFields&) {
    std::map<std::string, std::string> values;
    for (const Flag& flag : KIVCore::flags()) {
        if (const auto name = flag->name()) {
            values.emplace(*name, flag->peek());
        }
    }
    json::object flags;
    for (const auto& [name, value] : values) {
        flags.emplace(name, value);
    }
    return {{"flags", std::move(flags)}};
}

json::object shell::setOverride(ShellSession&, const ShellFields& fields) {
    const auto name = fields.get<std::string>("name");
    overrides()->setOverride(fields.get<FlagText>("value").text, name);
    return {};
}

json::object shell::clearOverride(ShellSession&, const ShellFields& fields) {
    overrides()->clearOverrideForName(fields.get<std::string>("name"));
    return {};
}

json::object shell::clearOverrides(ShellSession&, const ShellFields&) {
    overrides()->clearOverrides();
    return {};
}

} // namespace kiv::tool
