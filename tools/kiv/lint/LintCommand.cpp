#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Command.h"
#include "Platform/Text/Json.h"
#include "Terminal.h"
#include "lint/LintedFile.h"
#include "lint/Sarif.h"
#include "lint/UnreportedFlags.h"

namespace kiv::tool {
namespace {

enum class Format { text, json, sarif };

struct Options {
    std::vector<std::string> paths;
    std::string states;
    Format format = Format::text;
    bool asJson = false;
    bool strict = false;
};

constexpr const char* examples =
    R"(Finds unknown words, operators with too few or too many arguments, arguments that make no sense,
quotes and brackets that are not closed, flags and target groups that depend on themselves,
experiments without a condition or that never decide a flag, references to target groups that do
not exist, and members of the wrong type. With --states, also the flags that no application has
ever reported to the service that runs on FOLDER.

Examples:
  kiv config lint payload.json
  kiv config lint --strict configurations/*.json
  kiv config lint --states flags flags/*.flags.json
  kiv config lint --format sarif payload.json > lint.sarif

The exit code is 1 when there are errors; warnings alone leave it 0.)";

std::size_t count(const std::vector<LintedFile>& files, bool errors) {
    std::size_t sum = 0;
    for (const LintedFile& file : files) {
        sum += static_cast<std::size_t>(std::ranges::count(file.findings(), errors, &Finding::isError));
    }
    return sum;
}

json::object toJson(const std::string& path, const Finding& finding, const LineColumn& place) {
    json::object object{{"file", path},
                        {"fileLine", place.line},
                        {"fileColumn", place.column},
                        {"severity", finding.isError ? "error" : "warning"},
                        {"message", finding.message},
                        {"advice", finding.advice.empty() ? json::value() : json::value(finding.advice)}};
    if (finding.place.kind != Place::Kind::document) {
        object[finding.place.kind == Place::Kind::experiment ? "experiment" : "targetGroup"] =
            json::object{{"index", finding.place.index}, {"name", finding.place.name}};
    }
    if (finding.spot) {
        const LineColumn at = lineColumn(finding.spot->text, finding.spot->position);
        object["line"] = at.line;
        object["column"] = at.column;
        object["offset"] = finding.spot->position;
        object["length"] = finding.spot->length;
    }
    return object;
}

void printJson(const std::vector<LintedFile>& files) {
    json::array findings;
    for (const LintedFile& file : files) {
        const std::vector<FileRegion> regions = file.regions();
        for (std::size_t index = 0; index < regions.size(); ++index) {
            findings.push_back(toJson(file.path(), file.findings()[index], regions[index].begin));
        }
    }
    std::cout << prettyJson(json::object{{"errors", count(files, true)},
                                         {"warnings", count(files, false)},
                                         {"findings", findings}})
              << '\n';
}

/// Prints a file's findings for a person: grouped by experiment or target group, with the place in the
/// expression.
void printFindings(const LintedFile& file, const Terminal& terminal) {
    constexpr std::size_t indent = 4;
    constexpr std::size_t deeper = 6;
    std::cout << terminal.styled(Terminal::Style::heading, printable(file.path())) << '\n';
    std::string lastPlace;
    for (const Finding& finding : file.findings()) {
        const std::string place = finding.place.text();
        if (place != lastPlace) {
            std::cout << "  " << place << '\n';
            lastPlace = place;
        }
        const auto style = finding.isError ? Terminal::Style::error : Terminal::Style::warning;
        const std::string severity = finding.isError ? "error" : "warning";
        const std::size_t start = indent + severity.size() + 2;
        const std::string position = finding.positionText();
        const std::string message = printable(finding.message) + (position.empty() ? "" : " — " + position);
        std::cout << std::string(indent, ' ') << terminal.styled(style, severity + ":") << ' '
                  << terminal.wrapped(message, deeper, start) << '\n';
        if (finding.spot) {
            std::cout << terminal.excerpt(*finding.spot, deeper, style);
        }
        if (!finding.advice.empty()) {
            std::cout << terminal.wrapped(printable(finding.advice), deeper) << '\n';
        }
    }
    std::cout << '\n';
}

void print(const std::vector<LintedFile>& files) {
    const Terminal terminal = Terminal::ofOutput();
    for (const LintedFile& file : files) {
        if (terminal.isTerminal() && !file.findings().empty()) {
            printFindings(file, terminal);
        } else if (!terminal.isTerminal()) {
            std::ranges::for_each(file.findings(), [&](const Finding& finding) {
                std::cout << finding.line(file.path()) << '\n';
            });
        }
    }
    const std::size_t errors = count(files, true);
    const std::size_t warnings = count(files, false);
    const std::string in = " in " + counted(files.size(), "file");
    if (errors == 0 && warnings == 0) {
        std::cout << terminal.styled(Terminal::Style::good, "No findings") << in << ".\n";
    } else {
        std::cout << counted(errors, "error") << ", " << counted(warnings, "warning") << in << ".\n";
    }
}

int lint(const Options& options) {
    if (options.asJson && options.format == Format::sarif) {
        throw WrongUsage("--json and --format sarif exclude each other");
    }
    const std::string records = options.states.empty() ? "" : recordsOfService(options.states);
    std::vector<LintedFile> files;
    for (const std::string& path : options.paths) {
        files.emplace_back(path, records, options.strict);
    }
    if (options.format == Format::sarif) {
        std::cout << prettyJson(sarifLog(files)) << '\n';
    } else if (options.asJson || options.format == Format::json) {
        printJson(files);
    } else {
        print(files);
    }
    return count(files, true) > 0 ? exitBadInput : exitFine;
}

} // namespace

void addLintCommand(CLI::App& parent, int& exitCode) {
    const std::map<std::string, Format> formats{
        {"text", Format::text}, {"json", Format::json}, {"sarif", Format::sarif}};
    auto options = std::make_shared<Options>();
    CLI::App* command =
        parent.add_subcommand("lint", "Look for mistakes in documents before they are published");
    command->add_option("FILE", options->paths, "Payloads or envelopes, - for standard input")
        ->required()
        ->type_name("");
    command->add_option("--format", options->format, "How to print the findings: text, json or sarif")
        ->transform(CLI::CheckedTransformer(formats).description(""))
        ->type_name("FORMAT");
    command->add_flag("--json", options->asJson, "The same as --format json");
    command->add_option("--states", options->states, "Folder of a service whose records name the known flags")
        ->type_name("FOLDER");
    command->add_flag("--strict", options->strict, "Count warnings as errors");
    command->footer(examples);
    command->callback([options, &exitCode] { exitCode = lint(*options); });
}

} // namespace kiv::tool
