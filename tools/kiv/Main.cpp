#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Command.h"
#include "KIVBuildConfig.h"
#include "Terminal.h"
#include "expression/Words.h"

namespace kiv::tool {
namespace {

constexpr const char* examples = R"(Examples:
  kiv eval 'semverGte("1.10", "1.9")'
  kiv explain --config configuration.json --flag store.greeting --property language=fr
  kiv split --config configuration.json --flag store.greeting --property userId --count 10000
  kiv device --key 5e0bd1f2c3a4b5d6e7f80912
  kiv config keygen --out signing
  kiv config lint payload.json
  kiv config sign payload.json --signing-key signing.key.pem --out configuration.json
  kiv config verify configuration.json --certificate signing.certificate.txt
  kiv serve flags
  kiv impressions flags

'kiv SUBCOMMAND --help' describes each of them.
Exit codes: 0 success, 1 bad input, 2 wrong usage.)";

/// What somebody does first who has only the command's name.
constexpr std::string_view firstSteps[][2] = {
    {"kiv eval 'lt(1, 2)'", "evaluate an expression"},
    {"kiv explain 'eq(1, \"1\")'", "see why it has its value"},
    {"kiv serve FOLDER", "serve the flags of a folder to applications"},
};

/// Says what to do first, and lists the subcommands.
void introduce(const CLI::App& app) {
    const Terminal terminal = Terminal::ofErrors();
    constexpr std::size_t commandWidth = 28;
    constexpr std::size_t nameWidth = 13;
    std::cerr << terminal.wrapped(app.get_description(), 0) << "\n\n"
              << terminal.styled(Terminal::Style::heading, "Start with one of these:") << '\n';
    for (const auto& [command, text] : firstSteps) {
        std::cerr << terminal.field(command, text, 2, commandWidth);
    }
    std::cerr << '\n' << terminal.styled(Terminal::Style::heading, "Subcommands:") << '\n';
    for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; })) {
        std::cerr << terminal.field(each->get_name(), each->get_description(), 2, nameWidth);
    }
    std::cerr << "\n'kiv SUBCOMMAND --help' describes each of them.\n";
}

void report(const BadInput& problem, const std::string& command) {
    const Terminal terminal = Terminal::ofErrors();
    std::cerr << "kiv: " << messageText(problem) << '\n';
    if (problem.spot) {
        std::cerr << terminal.excerpt(*problem.spot, 2, Terminal::Style::error);
    }
    const std::string help = "'" + command + " --help' shows what it takes.";
    std::cerr << terminal.wrapped(problem.advice.empty() ? help : printable(problem.advice), 2) << '\n';
}

/// The innermost subcommand that the command line names.
const CLI::App& deepest(const CLI::App& app) {
    const CLI::App* current = &app;
    while (!current->get_subcommands().empty()) {
        current = current->get_subcommands().front();
    }
    return *current;
}

std::string fullName(const CLI::App& app) {
    return app.get_parent() ? fullName(*app.get_parent()) + " " + app.get_name() : app.get_name();
}

int report(const CLI::ParseError& error, const CLI::App& app) {
    const CLI::App& command = deepest(app);
    const std::vector<std::string> rest = command.remaining();
    std::string message = error.what();
    if (!command.get_parent() && rest.empty() && dynamic_cast<const CLI::RequiredError*>(&error)) {
        introduce(command);
        return exitWrongUsage;
    }
    if (dynamic_cast<const CLI::RequiredError*>(&error) && command.get_require_subcommand_min() > 0) {
        std::vector<std::string_view> names;
        for (const CLI::App* each : command.get_subcommands([](const CLI::App*) { return true; })) {
            names.push_back(each->get_name());
        }
        message = rest.empty() ? "a subcommand is missing."
                               : "there is no subcommand " + inQuotes(rest.front()) + ".";
        message += (rest.empty() ? "" : didYouMean(rest.front(), names, " ")) + " The subcommands are " +
                   listed(names) + ".";
    }
    std::cerr << "kiv: " << printable(message) << "\n'" << fullName(command)
              << " --help' shows how to call it.\n";
    return exitWrongUsage;
}

void prepare(CLI::App& app, int& exitCode) {
    constexpr std::size_t helpColumn = 30;
    app.set_version_flag("--version", build::version, "Print the version and exit");
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.get_formatter()->column_width(helpColumn);
    app.footer(examples);
    app.require_subcommand(1);
    addEvalCommand(app, exitCode);
    addExplainCommand(app, exitCode);
    addSplitCommand(app, exitCode);
    addShellCommand(app, exitCode);
    addConfigCommand(app, exitCode);
    addServeCommand(app, exitCode);
    addImpressionsCommand(app, exitCode);
    addDeviceCommand(app, exitCode);
}

int run(int argc, char** argv) {
    int exitCode = exitFine;
    CLI::App app("Evaluates flag expressions, and makes, checks and serves configuration documents.", "kiv");
    prepare(app, exitCode);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& wish) {
        app.exit(wish);
    } catch (const CLI::ParseError& error) {
        return report(error, app);
    } catch (const WrongUsage& error) {
        std::cerr << "kiv: " << error.what() << "\n'" << fullName(deepest(app))
                  << " --help' shows how to call it.\n";
        return exitWrongUsage;
    } catch (const BadInput& problem) {
        std::cout.flush();
        report(problem, fullName(deepest(app)));
        return exitBadInput;
    }
    if (!std::cout.flush()) {
        std::cerr << "kiv: the output could not be written\n  Free some space where it goes, or give it "
                     "another place.\n";
        return exitBadInput;
    }
    return exitCode;
}

} // namespace
} // namespace kiv::tool

int main(int argc, char** argv) { return kiv::tool::run(argc, argv); }
