#include <algorithm>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include <kiv/KIVCore.h>
#include <kiv/KIVHost.h>

#include "Analytics/KIVSEGAnalytics.h"
#include "Command.h"
#include "Core/KIVCoreInstance.h"
#include "CorvaneClient/KIVClient.h"
#include "HostFields.h"
#include "Terminal.h"
#include "evaluate/ValueText.h"
#include "shell/ShellSession.h"

namespace kiv::tool {
namespace {

const std::string introduction =
    R"TEXT(Reads commands from standard input and answers each on standard output:
  {"id": 1, "do": "register", "flags": [{"name": "color", "type": "string", "default": "blue"}]}
  {"id":1,"ok":true}
  {"do": "read", "name": "color"}
  {"ok":true,"value":"blue"}
  {"do": "read", "name": "colour"}
  {"ok":false,"error":{"name":"InvalidArgument","reason":TEXT}}
Each call of one of the library's handlers is written as a line of its own:
  {"event": "configurationFetched|impression|unhandledError", ...}
The library logs to standard error. The shell ends at "quit" or at the end of its input.
)TEXT";

constexpr const char* invalidArgument = "InvalidArgument";

struct ShellCommand {
    std::string_view name;
    std::vector<std::string_view> fields; ///< in addition to "do" and "id"
    json::object (*run)(ShellSession& session, const ShellFields& fields);
};

/// A command that only calls an operation of the facade, which has no parameters.
template <void (*operation)()>
json::object call(ShellSession&, const ShellFields&) {
    operation();
    return {};
}

json::object state(ShellSession&, const ShellFields&) { return {{"state", KIVCore::state()}}; }

json::object switchToSDKKey(ShellSession&, const ShellFields& fields) {
    KIVCore::switchToSDKKey(fields.get<std::optional<std::string>>("key"));
    return {};
}

json::object unfreezeNamespace(ShellSession&, const ShellFields& fields) {
    KIVCore::unfreezeNamespace(fields.get<std::string>("namespace"));
    return {};
}

json::object handleNamespace(ShellSession&, const ShellFields& fields) {
    KIVCore::handleNamespace(fields.get<std::optional<std::string>>("namespace"));
    return {};
}

json::object globalContext(ShellSession&, const ShellFields& fields) {
    KIVCore::setGlobalDynamicPropertyContext(
        KIVDynamicPropertyContext(fields.get<KIVDynamicPropertyContext::Values>("values")));
    return {};
}

json::object flush(ShellSession&, const ShellFields&) {
    if (const auto client = KIVCoreInstance::getInstance().client()) {
        client->analytics()->flush();
    }
    return {};
}

json::object quit(ShellSession& session, const ShellFields&) {
    session.isOver = true;
    return {};
}

const std::vector<ShellCommand>& commands() {
    static const std::vector<ShellCommand> all{
        {"host", hostFieldNames({"screen", "analyticsLog"}), shell::configureHost},
        {"setup", {"key", "options", "platformVersion", "languageVersion"}, shell::setup},
        {"state", {}, state},
        {"shutdown", {}, call<KIVCore::shutdown>},
        {"reset", {}, call<KIVCore::reset>},
        {"switchToSDKKey", {"key"}, switchToSDKKey},
        {"fetch", {}, call<KIVCore::fetch>},
        {"unfreeze", {}, call<KIVCore::unfreeze>},
        {"unfreezeNamespace", {"namespace"}, unfreezeNamespace},
        {"foreground", {}, call<KIVHost::applicationWillEnterForeground>},
        {"handleNamespace", {"namespace"}, handleNamespace},
        {"setStateDebounceTime", {"seconds"}, shell::setStateDebounceTime},
        {"register", {"namespace", "flags"}, shell::registerFlags},
        {"read", {"name", "context"}, shell::read},
        {"peek", {"name"}, shell::peek},
        {"originalValue", {"name"}, shell::originalValue},
        {"describe", {"name"}, shell::describe},
        {"forceValue", {"name", "value"}, shell::forceValue},
        {"dynamic", {"call", "name", "default", "variations", "context"}, shell::dynamicRead},
        {"flags", {}, shell::allFlags},
        {"property", {"type", "key", "value", "computed", "throws"}, shell::setProperty},
        {"globalContext", {"values"}, globalContext},
        {"deviceProperties", {}, shell::deviceProperties},
        {"evaluate", {"expression", "flagName", "context"}, shell::evaluate},
        {"override", {"name", "value"}, shell::setOverride},
        {"clearOverride", {"name"}, shell::clearOverride},
        {"clearOverrides", {}, shell::clearOverrides},
        {"flagsScreen", {}, shell::presentFlagsScreen},
        {"dismissFlagsScreen", {}, shell::dismissFlagsScreen},
        {"wait", {"event", "timeout"}, shell::waitForEvent},
        {"flush", {}, flush},
        {"quit", {}, quit},
    };
    return all;
}

const ShellCommand& commandOf(const ShellFields& fields) {
    std::vector<std::string_view> names;
    std::ranges::transform(commands(), std::back_inserter(names), &ShellCommand::name);
    return *std::ranges::find(commands(), fields.choice("do", names), &ShellCommand::name);
}

json::object runCommand(ShellSession& session, const ShellFields& fields) {
    const ShellCommand& command = commandOf(fields);
    std::vector<std::string_view> known = command.fields;
    known.insert(known.end(), {"do", "id"});
    fields.allowOnly(known, command.name);
    return command.run(session, fields);
}

json::object failure(const std::string& name, const std::string& reason) {
    return {{"ok", false}, {"error", {{"name", name}, {"reason", reason}}}};
}

json::object resultOf(ShellSession& session, const json::value& line) {
    try {
        if (!line.is_object()) {
            throw BadInput("a command must be a JSON object");
        }
        json::object result{{"ok", true}};
        append(result, runCommand(session, ShellFields(line.get_object())));
        return result;
    } catch (const BadInput& problem) {
        return failure(invalidArgument, problem.reason());
    } catch (...) {
        const KIVException exception = KIVException::current();
        return failure(exception.name(), exception.reason());
    }
}

json::object answerTo(ShellSession& session, const std::string& text) {
    std::string error;
    const auto line = parseJson(text, &error);
    if (!line) {
        return failure(invalidArgument, "not JSON: " + error);
    }
    json::object answer;
    if (const json::value* id = member(*line, "id")) {
        answer.emplace("id", *id);
    }
    append(answer, resultOf(session, *line));
    return answer;
}

void runShell() {
    ShellSession session;
    for (std::string line; !session.isOver && std::getline(std::cin, line);) {
        if (line.find_first_not_of(" \t\r") != line.npos) {
            session.output->answer(answerTo(session, line));
        }
    }
    session.output->close();
}

/// The commands with their fields, as the help shows them.
std::string commandsHelp() {
    const Terminal terminal = Terminal::ofOutput();
    std::string text = "\nCommands and their fields (docs/shell.md describes each):\n";
    for (const ShellCommand& command : commands()) {
        std::string fields;
        for (const std::string_view field : command.fields) {
            fields += (fields.empty() ? "" : " ") + std::string(field);
        }
        const std::string name = "  " + std::string(command.name);
        constexpr std::size_t column = 20;
        text += fields.empty() ? name : padded(name, column) + terminal.wrapped(fields, column, column);
        text += '\n';
    }
    return text;
}

} // namespace

void addShellCommand(CLI::App& parent, int& exitCode) {
    CLI::App* command =
        parent.add_subcommand("shell", "Drive the library by commands, one JSON object per line");
    command->footer(introduction + commandsHelp());
    command->callback([&exitCode] {
        runShell();
        exitCode = exitFine;
    });
}

} // namespace kiv::tool
