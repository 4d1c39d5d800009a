#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include <sys/wait.h>

#include <gtest/gtest.h>

#include "Platform/Text/Json.h"

#define EXPECT_CONTAINS(text, part)                                                                          \
    EXPECT_TRUE((text).find(part) != std::string::npos) << (part) << "\nis not in\n" << (text)

/// Runs the `kiv` command that was built, in a folder of the test's own.
class KivCommand : public ::testing::Test {
protected:
    using Arguments = std::vector<std::string>;

    struct Outcome {
        int exitCode;
        std::string out;
        std::string err;
    };

    struct Call {
        Arguments arguments;
        int exitCode;
        std::string told;
    };

    KivCommand() {
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder);
        std::filesystem::current_path(folder);
    }

    static void write(const std::string& name, std::string_view content) {
        std::ofstream(name, std::ios::binary) << content;
    }

    static std::string read(const std::string& name) {
        std::ifstream file(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// Runs the command with these arguments, unchanged by the shell.
    static Outcome kiv(const Arguments& arguments, std::string_view input = "") {
        write("stdin", input);
        return shell(commandLine(arguments) + " <stdin");
    }

    static Outcome shell(const std::string& command) {
        const int status = std::system(("{ " + command + "; } >stdout 2>stderr").c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read("stdout"), read("stderr")};
    }

    static std::string commandLine(const Arguments& arguments) {
        std::string line = "'" KIV_TEST_BIN_DIR "/kiv'";
        for (std::string argument : arguments) {
            for (std::size_t at = 0; (at = argument.find('\'', at)) != argument.npos; at += 4) {
                argument.replace(at, 1, R"('\'')");
            }
            line += " '" + argument + "'";
        }
        return line;
    }

    /// The output of a call that must succeed.
    static std::string output(const Arguments& arguments) {
        const Outcome outcome = kiv(arguments);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.out << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    }

    static Arguments joined(Arguments arguments, const Arguments& more) {
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    /// Makes the calls, each with the arguments `start` before its own. A call that succeeds must write what
    /// it tells to standard output, one that fails to standard error, and nothing to the other.
    static void expectTold(const Arguments& start, std::span<const Call> calls) {
        for (const Call& call : calls) {
            const Outcome outcome = kiv(joined(start, call.arguments));
            EXPECT_EQ(outcome.exitCode, call.exitCode) << call.told;
            EXPECT_CONTAINS(call.exitCode == 0 ? outcome.out : outcome.err, call.told);
            EXPECT_EQ(call.exitCode == 0 ? outcome.err : outcome.out, "") << call.told;
        }
    }

    static void expectContains(const std::string& text, const std::vector<std::string>& parts) {
        for (const std::string& part : parts) {
            EXPECT_CONTAINS(text, part);
        }
    }

    /// What the command writes to a terminal of 60 columns.
    static std::string onTerminal(const std::string& environment, const Arguments& arguments) {
        write("on-terminal.sh",
              "unset NO_COLOR; stty cols 60; TERM=xterm " + environment + " " + commandLine(arguments));
        std::string output = shell("script -qec 'sh on-terminal.sh' /dev/null </dev/null").out;
        std::erase(output, '\r');
        return output;
    }

    /// Expects that no line is wider than the 60 columns of `onTerminal`.
    static void expectNarrow(const std::string& text) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            const auto characters = std::ranges::count_if(line, [](char c) { return (c & 0xC0) != 0x80; });
            EXPECT_LE(characters, 60) << line;
        }
    }

    static kiv::json::value parsed(const std::string& text) {
        std::string error;
        auto document = kiv::parseJson(text, &error);
        EXPECT_TRUE(document) << error << " in " << text;
        return document.value_or(kiv::json::object());
    }

    const std::string folder = std::string(std::getenv("HOME")) + "/command";
};
