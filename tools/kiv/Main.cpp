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

'kiv SUBCOMMAND --help' tells more about each.
Exit codes: 0 fine, 1 the input is bad, 2 wrong usage.)";

void report(const BadInput& problem) {
    const Terminal terminal = Terminal::ofErrors();
    std::cerr << "kiv: " << printable(problem.what());
    std::cerr << (problem.spot ? " — " + positionText(*problem.spot) : "") << '\n';
    if (problem.spot) {
        std::cerr << terminal.excerpt(*problem.spot, 2, Terminal::Style::error);
    }
    if (!problem.advice.empty()) {
        std::cerr << terminal.wrapped(printable(problem.advice), 2) << '\n';
    }
}

/// The subcommand that the command line got to.
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
    if (dynamic_cast<const CLI::RequiredError*>(&error) && command.get_require_subcommand_min() > 0) {
        std::vector<std::string_view> names;
        for (const CLI::App* each : command.get_subcommands([](const CLI::App*) { return true; })) {
            names.push_back(each->get_name());
        }
        message =
            rest.empty() ? "which subcommand?" : "there is no subcommand " + inQuotes(rest.front()) + ".";
        const std::string_view meant = rest.empty() ? "" : closest(rest.front(), names);
        message += meant.empty() ? " There are " : " Did you mean " + std::string(meant) + "? There are ";
        for (std::size_t index = 0; index < names.size(); ++index) {
            message += (index == 0                  ? ""
                        : index + 1 == names.size() ? " and "
                                                    : ", ") +
                       std::string(names[index]);
        }
        message += ".";
    }
    std::cerr << "kiv: " << printable(message) << "\n'" << fullName(command)
              << " --help' tells how to call it.\n";
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
    CLI::App app("Works with flag expressions and with configuration documents.", "kiv");
    prepare(app, exitCode);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& wish) {
        app.exit(wish);
    } catch (const CLI::ParseError& error) {
        return report(error, app);
    } catch (const WrongUsage& error) {
        std::cerr << "kiv: " << error.what() << "\n'" << fullName(deepest(app))
                  << " --help' tells how to call it.\n";
        return exitWrongUsage;
    } catch (const BadInput& problem) {
        std::cout.flush();
        report(problem);
        return exitBadInput;
    }
    if (!std::cout.flush()) {
        std::cerr << "kiv: the output could not be written\n";
        return exitBadInput;
    }
    return exitCode;
}

} // namespace
} // namespace kiv::tool

int main(int argc, char** argv) { return kiv::tool::run(argc, argv); }
