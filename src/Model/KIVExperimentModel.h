#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

class KivxParser;
struct EvaluationContext;

/// The expression that gives a flag its value.
class KIVDeploymentConfiguration {
public:
    explicit KIVDeploymentConfiguration(std::string condition) : condition_(std::move(condition)) {}

    const std::string& condition() const { return condition_; }

    /// Evaluates the expression and returns its value as text; nothing when the value is undefined or has no
    /// text, or when the evaluation fails. Does not throw.
    std::optional<std::string> valueWithParser(const KivxParser& parser, std::string_view flagName,
                                               const EvaluationContext& context) const;

private:
    std::string condition_;
};

/// One experiment of a configuration document. Immutable.
class KIVExperimentModel {
public:
    KIVExperimentModel(std::optional<std::string> identifier, std::optional<std::string> name, bool archived,
                       KIVDeploymentConfiguration deploymentConfiguration, bool sticky,
                       std::set<std::string> labels, std::optional<std::string> stickinessProperty);

    const std::optional<std::string>& identifier() const { return identifier_; }
    const std::optional<std::string>& name() const { return name_; }
    bool archived() const { return archived_; }
    const KIVDeploymentConfiguration& deploymentConfiguration() const { return deploymentConfiguration_; }
    bool sticky() const { return sticky_; }
    const std::set<std::string>& labels() const { return labels_; }
    /// The name of the property that identifies the user.
    const std::optional<std::string>& stickinessProperty() const { return stickinessProperty_; }

    /// The value of the deployment configuration.
    std::optional<std::string> valueWithParser(const KivxParser& parser, std::string_view flagName,
                                               const EvaluationContext& context) const;

private:
    std::optional<std::string> identifier_;
    std::optional<std::string> name_;
    std::optional<std::string> stickinessProperty_;
    std::set<std::string> labels_;
    KIVDeploymentConfiguration deploymentConfiguration_;
    bool archived_;
    bool sticky_;
};
