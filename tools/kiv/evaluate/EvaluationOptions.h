#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "evaluate/EvaluationRequest.h"

namespace CLI {
class App;
}

namespace kiv::tool {

/// The properties of an option that gives each as NAME=VALUE or NAME:TYPE=VALUE. Throws `BadInput` and
/// `WrongUsage` that name `option`.
std::vector<Property> propertiesFrom(const std::vector<std::string>& texts, std::string_view option);

/// The options that say in which world an expression is evaluated.
class EvaluationOptions {
public:
    /// Tells of types, for the end of a command's help.
    static constexpr const char* typesHelp = R"(

The type of a property is one of string, semver, datetime, bool, int and double;
of a value of the context, string, bool, int or double. Without a type, what is
written like a boolean or a number is one (true, 12, 0.5), and all else a text.)";

    /// This object must outlive the parsing of the command line.
    void addTo(CLI::App& command);

    /// False when none of them was given.
    bool given() const { return !properties_.empty() || !context_.empty() || !targetGroups_.empty(); }

    /// A request of what was given, without an expression or a flag's name. Throws `BadInput` and
    /// `WrongUsage`.
    EvaluationRequest request() const;

private:
    std::vector<std::string> properties_;
    std::vector<std::string> context_;
    std::vector<std::string> targetGroups_;
};

} // namespace kiv::tool
