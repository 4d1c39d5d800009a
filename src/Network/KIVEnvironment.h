#pragma once

#include <optional>
#include <string>

#include <kiv/KIVNetworkConfigurationsOptions.h>

/// The endpoints that one client works with. Immutable. A missing endpoint switches its feature off.
class KIVEnvironment {
public:
    /// Takes the endpoints of `networkConfigurations`, and cuts one slash off the end of each. When it is
    /// nullopt, copies `legacyNetworkConfigurations` unchanged.
    explicit KIVEnvironment(const std::optional<KIVNetworkConfigurationsOptions>& networkConfigurations);

    const std::optional<std::string>& getConfigCdnUrl() const { return endpoints_.getConfigCloudEndpoint; }
    const std::optional<std::string>& getConfigApiUrl() const { return endpoints_.getConfigApiEndpoint; }
    const std::optional<std::string>& sendStateCdnUrl() const { return endpoints_.sendStateCloudEndpoint; }
    const std::optional<std::string>& sendStateApiUrl() const { return endpoints_.sendStateApiEndpoint; }
    const std::optional<std::string>& analyticsUrl() const { return endpoints_.analyticsEndpoint; }
    const std::optional<std::string>& pushNotificationsUrl() const {
        return endpoints_.pushNotificationEndpoint;
    }

    /// The text without its last character when that is a slash; nullopt for nullopt.
    static std::optional<std::string> chopSlashSuffix(std::optional<std::string> text);

    /// The built-in endpoints for keys of 24 hexadecimal digits, all six. KIVEndpoints.h lets an application
    /// write them before its first call of `KIVCore`. Made at the first call and never destroyed, so that no
    /// order of static objects matters.
    static KIVNetworkConfigurationsOptions& legacyNetworkConfigurations();
    /// The built-in endpoints for keys in the form of a UUID; otherwise like `legacyNetworkConfigurations`.
    static KIVNetworkConfigurationsOptions& platformNetworkConfigurations();

private:
    KIVNetworkConfigurationsOptions endpoints_;
};
