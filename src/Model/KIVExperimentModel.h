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

    /// The expression's value as text; nothing when it is undefined, failed, or has no text. Does not throw.
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
    /// Name of the property whose value says who the user is.
    const std::optional<std::string>& stickinessProperty() const { return stickinessProperty_; }

    /// The deployment configuration's value.
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
