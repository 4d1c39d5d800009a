#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Network/KIVEnvironment.h"
#include "Network/KIVHttpRequestData.h"

/// Makes the requests of one environment out of device properties. Immutable, callable from any thread.
///
/// A request whose endpoint is missing is nothing. A property that is missing is left out of a query, and is
/// "(null)" in a path.
class KIVURLBuilder {
public:
    using Properties = kiv::json::object;

    /// The environment must not be null.
    explicit KIVURLBuilder(std::shared_ptr<const KIVEnvironment> environment);

    /// The configuration of this device and application, from the CDN.
    std::optional<KIVHttpRequestData> createNetworkCacheURL(const Properties& properties) const;
    std::string getNetworkCacheURL(const Properties& properties) const;

    /// The same from the API, which is told all properties.
    std::optional<KIVHttpRequestData> createRequestConfigurationURL(const Properties& properties) const;

    /// Whether the state of this hash is known, asked of the CDN.
    std::optional<KIVHttpRequestData> createNetworkStateCacheURL(const Properties& properties) const;
    std::string getNetworkStateCacheURL(const Properties& properties) const;

    /// The state, told to the API. Its parameters end at the first of them that is missing.
    std::optional<KIVHttpRequestData> createNetworkStateApiURL(const Properties& properties) const;

private:
    const std::shared_ptr<const KIVEnvironment> environment_;
};
