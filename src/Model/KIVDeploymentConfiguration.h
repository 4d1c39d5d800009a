#pragma once

#include <optional>
#include <string>
#include <string_view>

class KivxParser;
struct EvaluationContext;

/// The expression that gives a flag its value.
class KIVDeploymentConfiguration {
public:
    explicit KIVDeploymentConfiguration(std::string condition) : condition_(std::move(condition)) {}

    const std::string& condition() const { return condition_; }

    /// The expression's value as text; nothing when it is undefined, failed, or has no text. Does not throw.
    std::optional<std::string> valueWithParser(const KivxParser& parser, std::string_view flagName,
                                               const EvaluationContext& context) const;

private:
    std::string condition_;
};
