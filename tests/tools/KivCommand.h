#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Platform/Json.h"

/// Runs the `kiv` command that was built, in a folder of the test's own.
class KivCommand : public ::testing::Test {
protected:
    struct Outcome {
        int exitCode;
        std::string out;
        std::string err;
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

    /// Arguments reach the command as they are.
    static Outcome kiv(const std::vector<std::string>& arguments, std::string_view input = "") {
        write("stdin", input);
        return shell(commandLine(arguments) + " <stdin");
    }

    static Outcome shell(const std::string& command) {
        const int status = std::system(("{ " + command + "; } >stdout 2>stderr").c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read("stdout"), read("stderr")};
    }

    static std::string commandLine(const std::vector<std::string>& arguments) {
        std::string line = "'" KIV_TEST_BIN_DIR "/kiv'";
        for (std::string argument : arguments) {
            for (std::size_t at = 0; (at = argument.find('\'', at)) != argument.npos; at += 4) {
                argument.replace(at, 1, R"('\'')");
            }
            line += " '" + argument + "'";
        }
        return line;
    }

    /// What the command writes to a terminal of 60 columns.
    static std::string onTerminal(const std::string& environment, const std::vector<std::string>& arguments) {
        winsize size{24, 60, 0, 0};
        int terminal = -1;
        const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
        if (child == 0) {
            const std::string command =
                "unset NO_COLOR; TERM=xterm " + environment + " " + commandLine(arguments);
            execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            _exit(127);
        }
        std::string output;
        char buffer[4096];
        for (ssize_t length = 0; (length = ::read(terminal, buffer, sizeof buffer)) > 0;) {
            output.append(buffer, static_cast<std::size_t>(length));
        }
        ::close(terminal);
        waitpid(child, nullptr, 0);
        std::erase(output, '\r');
        return output;
    }

    /// No line is wider than that terminal.
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

#define EXPECT_CONTAINS(text, part)                                                                          \
    EXPECT_TRUE((text).find(part) != std::string::npos) << (part) << "\nis not in\n" << (text)
