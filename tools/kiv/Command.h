#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>

namespace CLI {
class App;
class Option;
} // namespace CLI

/// The `kiv` command. Each subcommand has a file of its own, which adds it to its parent.
namespace kiv::tool {

enum ExitCode : int { exitFine = 0, exitBadInput = 1, exitWrongUsage = 2 };

/// A part of a text that a message is about, to be shown with a mark under it. Position and length count
/// bytes.
struct Spot {
    std::string text;
    std::size_t position = 0;
    std::size_t length = 1;
};

/// The input is bad. `what()` tells a person what is wrong, `spot` where, and `advice` (may be empty) what to
/// do about it.
class BadInput : public std::runtime_error {
public:
    explicit BadInput(const std::string& message, std::optional<Spot> place = {}, std::string whatToDo = {})
        : std::runtime_error(message), spot(std::move(place)), advice(std::move(whatToDo)) {}

    /// What is wrong and what to do, as one text for a program's answer.
    std::string reason() const { return what() + (advice.empty() ? "" : ". " + advice); }

    std::optional<Spot> spot;
    std::string advice;
};

/// The command was called in a way that makes no sense.
class WrongUsage : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Lets the command line say `oldName` ("--like-this") for an option that was renamed. The old name is not
/// shown in the help. For options of `command` that take one value; giving both names counts as giving the
/// option twice.
void addOldSpelling(CLI::App& command, CLI::Option* option, const std::string& oldName);

/// Each adds its subcommand to `parent`. When the command line names the subcommand, parsing runs it: it sets
/// `exitCode`, or throws `BadInput` or `WrongUsage`. `exitCode` must outlive the parsing.
void addEvalCommand(CLI::App& parent, int& exitCode);
void addExplainCommand(CLI::App& parent, int& exitCode);
void addSplitCommand(CLI::App& parent, int& exitCode);
void addShellCommand(CLI::App& parent, int& exitCode);
void addConfigCommand(CLI::App& parent, int& exitCode);
void addKeygenCommand(CLI::App& parent, int& exitCode);
void addSignCommand(CLI::App& parent, int& exitCode);
void addVerifyCommand(CLI::App& parent, int& exitCode);
void addShowCommand(CLI::App& parent, int& exitCode);
void addLintCommand(CLI::App& parent, int& exitCode);
void addExportCommand(CLI::App& parent, int& exitCode);
void addServeCommand(CLI::App& parent, int& exitCode);
void addImpressionsCommand(CLI::App& parent, int& exitCode);
void addDeviceCommand(CLI::App& parent, int& exitCode);

} // namespace kiv::tool
