#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Analytics/KIVSEGCrypto.h"
#include "Analytics/KIVSEGHTTPClient.h"
#include "Analytics/KIVSEGIntegration.h"
#include "Analytics/KIVSEGMiddleware.h"
#include "Reporting/KIVDeviceProperties.h"

/// The configuration of an analytics client. The client keeps it and does not change it.
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

    /// Adds the factory of a further integration.
    void use(std::shared_ptr<const KIVSEGIntegrationFactory> factory) {
        factories.push_back(std::move(factory));
    }

    std::string writeKey; ///< also the name of the folder with the client's files
    std::shared_ptr<const KIVDeviceProperties> deviceProperties;
    std::optional<std::string> url; ///< base URL of the service that events are sent to
    std::size_t flushAt = 20;       ///< an upload starts when this many events are in the queue

    // Switches for integrations: this client itself gathers none of these data.
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

    KIVSEGRequestFactory requestFactory;        ///< empty: `KIVSEGHTTPClient::defaultRequestFactory`
    std::shared_ptr<const KIVSEGCrypto> crypto; ///< null: files are not encrypted
    std::vector<std::shared_ptr<KIVSEGMiddleware>> middlewares;
    std::vector<std::shared_ptr<const KIVSEGIntegrationFactory>> factories;
};
