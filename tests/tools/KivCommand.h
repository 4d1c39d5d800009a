#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <sys/wait.h>

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
