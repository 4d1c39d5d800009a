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

/// The command-line options that set the properties, the context and the target groups for an expression.
class EvaluationOptions {
public:
    /// Explains TYPE at the end of a command's help.
    static constexpr const char* typesHelp = R"(

TYPE is string, semver, datetime, bool, int or double for a property, and string, bool, int
or double for a value of the context. Without a type, a value that is written like a boolean
or a number is one (true, 12, 0.5), and every other value is a text.)";

    /// This object must outlive the parsing of the command line.
    void addTo(CLI::App& command);

    /// False when none of them was given.
    bool given() const { return !properties_.empty() || !context_.empty() || !targetGroups_.empty(); }

    /// A request with what the options set; its expression and flag name are empty. Throws `BadInput` and
    /// `WrongUsage`.
    EvaluationRequest request() const;

private:
    std::vector<std::string> properties_;
    std::vector<std::string> context_;
    std::vector<std::string> targetGroups_;
};

} // namespace kiv::tool
