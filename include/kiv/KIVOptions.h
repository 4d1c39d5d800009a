#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <kiv/KIVCustomPropertyBlocks.h>
#include <kiv/KIVFetcherResult.h>
#include <kiv/KIVFreezeLevel.h>
#include <kiv/KIVNetworkConfigurationsOptions.h>
#include <kiv/KIVReportingValue.h>

/// The options of a setup. Setup works on a copy.
struct KIVOptions {
    /// Accepted, and changes nothing.
    bool disableSyncLoadingFallback = false;
    /// Accept configuration documents without a valid signature. Always the case for keys of the UUID form.
    bool disableSignatureVerification = false;
    /// Called after each fetch with its result, on a thread of the library; for a stored or embedded document
    /// on the thread of setup, before setup returns. Not called for a fetch that the configuration's
    /// throttling leaves out, and not after shutdown.
    std::function<void(const KIVFetcherResult& result)> onConfigurationFetched = {};
    /// Called for each flag that was read and evaluated, on the thread that read it. Not called for flags
    /// that the handler itself reads.
    std::function<void(const KIVReportingValue& value)> impressionHandler = {};
    /// Gives the values of properties that are not registered. Called on the thread that reads a flag.
    KIVDynamicPropertiesRule dynamicPropertiesRule = {};
    /// 1 turns the debug log on; any other value leaves it off.
    unsigned verbose = 0;
    /// Source units ("KIVCore.cpp") whose debug lines are left out.
    std::vector<std::string> silentFiles = {};
    /// Base64 text, on one line, of a DER X.509 certificate; replaces the built-in certificate.
    std::optional<std::string> customSigningCertificate = {};
    /// Path of a configuration document shipped with the application, used before any fetch.
    std::optional<std::string> defaultConfigurationPath = {};
    /// Freeze level of every flag that was made without a level of its own: a `KIVFreezeLevel`.
    unsigned defaultFreezeLevel = KIVFreezeNever;
    /// Endpoints of a self-managed deployment; they replace the built-in endpoints.
    std::optional<KIVNetworkConfigurationsOptions> networkConfigurations = {};
};
