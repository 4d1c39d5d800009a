#pragma once

#include <optional>
#include <string>

#include <kiv/KIVNetworkConfigurationsOptions.h>

/// The endpoints that one client works with. Immutable. A missing one switches off what it is for.
class KIVEnvironment {
public:
    /// Takes the deployment's endpoints, each without one trailing slash; without a deployment the built-in
    /// ones for keys of hexadecimal digits, as they are at this moment.
    explicit KIVEnvironment(const std::optional<KIVNetworkConfigurationsOptions>& networkConfigurations);

    const std::optional<std::string>& getConfigCdnUrl() const { return endpoints_.getConfigCloudEndpoint; }
    const std::optional<std::string>& getConfigApiUrl() const { return endpoints_.getConfigApiEndpoint; }
    const std::optional<std::string>& sendStateCdnUrl() const { return endpoints_.sendStateCloudEndpoint; }
    const std::optional<std::string>& sendStateApiUrl() const { return endpoints_.sendStateApiEndpoint; }
    const std::optional<std::string>& analyticsUrl() const { return endpoints_.analyticsEndpoint; }
    const std::optional<std::string>& pushNotificationsUrl() const {
        return endpoints_.pushNotificationEndpoint;
    }

    /// The text without its last character when that is a slash. Nothing for nothing.
    static std::optional<std::string> chopSlashSuffix(std::optional<std::string> text);

    /// The built-in endpoints for keys in the form of a UUID, as they are at this moment.
    static KIVNetworkConfigurationsOptions platformNetworkConfigurations();

private:
    KIVNetworkConfigurationsOptions endpoints_;
};
