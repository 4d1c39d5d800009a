#pragma once

#include <string>
#include <vector>

#include "EvaluationRequest.h"

namespace CLI {
class App;
}

namespace kiv::tool {

/// The options that say in which world an expression is evaluated.
class EvaluationOptions {
public:
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
