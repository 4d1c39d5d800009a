#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <kiv/KIVCustomPropertyBlocks.h>
#include <kiv/KIVFetcherResult.h>
#include <kiv/KIVNetworkConfigurationsOptions.h>
#include <kiv/KIVReportingValue.h>

/// What an application tells the library at setup. Setup works on a copy.
struct KIVOptions {
    /// Carried along; changes nothing.
    bool disableSyncLoadingFallback = false;
    /// Accept configuration documents without a valid signature. Always the case for keys of the UUID form.
    bool disableSignatureVerification = false;
    /// Called after each fetch with its result, on a thread of the library's; for a stored or embedded
    /// document on the thread of setup, before setup returns. Not for a fetch that the configuration's
    /// throttling leaves out, and not after shutdown.
    std::function<void(const KIVFetcherResult& result)> onConfigurationFetched = {};
    /// Called for each flag that was read and evaluated, on the thread that read it; not for the flags that
    /// it reads itself.
    std::function<void(const KIVReportingValue& value)> impressionHandler = {};
    /// Answers for properties that nobody registered.
    KIVDynamicPropertiesRule dynamicPropertiesRule = {};
    /// 1 turns the debug log on; any other value leaves it off.
    unsigned verbose = 0;
    /// Source units ("KIVCore.cpp") whose debug lines are left out.
    std::vector<std::string> silentFiles = {};
    /// Base64 text, on one line, of a DER X.509 certificate; takes the place of the built-in one.
    std::optional<std::string> customSigningCertificate = {};
    /// Path of a configuration document shipped with the application, used before any fetch.
    std::optional<std::string> defaultConfigurationPath = {};
    /// Freeze level of every flag that was made without one of its own.
    unsigned defaultFreezeLevel = 3;
    /// Endpoints of a self-managed deployment, in place of the built-in ones.
    std::optional<KIVNetworkConfigurationsOptions> networkConfigurations = {};
};
