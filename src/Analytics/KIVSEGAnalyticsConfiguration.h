#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Analytics/KIVSEGCrypto.h"
#include "Analytics/KIVSEGHTTPClient.h"
#include "Analytics/KIVSEGIntegration.h"
#include "Analytics/KIVSEGMiddleware.h"
#include "Reporting/KIVDeviceProperties.h"

/// What an analytics client is made from; it keeps the configuration and does not change it.
struct KIVSEGAnalyticsConfiguration {
    /// A configuration with the defaults below. Without a `url` the client is disabled for good.
    static std::shared_ptr<KIVSEGAnalyticsConfiguration>
    configurationWithWriteKey(std::string writeKey,
                              std::shared_ptr<const KIVDeviceProperties> deviceProperties,
                              std::optional<std::string> url) {
        auto configuration = std::make_shared<KIVSEGAnalyticsConfiguration>();
        configuration->writeKey = std::move(writeKey);
        configuration->deviceProperties = std::move(deviceProperties);
        configuration->url = std::move(url);
        return configuration;
    }

    /// Adds the maker of a further integration.
    void use(std::shared_ptr<const KIVSEGIntegrationFactory> factory) {
        factories.push_back(std::move(factory));
    }

    std::string writeKey; ///< names the folder of what the client keeps
    std::shared_ptr<const KIVDeviceProperties> deviceProperties;
    std::optional<std::string> url; ///< base of the address that events are sent to
    std::size_t flushAt = 20;       ///< so many events in the queue are sent at once

    // Data that this client does not gather; the switches are there for integrations.
    bool shouldUseLocationServices = false;
    bool enableAdvertisingTracking = false;
    bool shouldUseBluetooth = false;
    bool trackApplicationLifecycleEvents = false;
    bool recordScreenViews = false;
    bool trackInAppPurchases = false;
    bool trackPushNotifications = false;
    bool trackDeepLinks = false;
    bool trackAttributionData = false;
    std::optional<kiv::json::object> launchOptions;

    KIVSEGRequestFactory requestFactory;        ///< empty: the HTTP client's own
    std::shared_ptr<const KIVSEGCrypto> crypto; ///< null: what is kept is not encrypted
    std::vector<std::shared_ptr<KIVSEGMiddleware>> middlewares;
    std::vector<std::shared_ptr<const KIVSEGIntegrationFactory>> factories;
};
