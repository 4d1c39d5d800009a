#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Network/KIVEnvironment.h"
#include "Network/KIVHttpRequestData.h"

/// Makes the requests to the endpoints of one environment out of device properties. Immutable, callable from
/// any thread.
///
/// A request is nullopt when its endpoint is missing. A missing property is left out of the query, and is
/// "(null)" in the path.
class KIVURLBuilder {
public:
    using Properties = kiv::json::object;

    /// The environment must not be null.
    explicit KIVURLBuilder(std::shared_ptr<const KIVEnvironment> environment);

    /// Asks the CDN for the configuration of this device and application.
    std::optional<KIVHttpRequestData> createNetworkCacheURL(const Properties& properties) const;
    std::string getNetworkCacheURL(const Properties& properties) const;

    /// Asks the API for the configuration of this device and application, and sends it all properties.
    std::optional<KIVHttpRequestData> createRequestConfigurationURL(const Properties& properties) const;

    /// Asks the state CDN whether the service knows the state with this hash.
    std::optional<KIVHttpRequestData> createNetworkStateCacheURL(const Properties& properties) const;
    std::string getNetworkStateCacheURL(const Properties& properties) const;

    /// Sends the state to the state API. The parameters end before the first property that is missing.
    std::optional<KIVHttpRequestData> createNetworkStateApiURL(const Properties& properties) const;

private:
    const std::shared_ptr<const KIVEnvironment> environment_;
};
