#pragma once

#include <optional>
#include <string>

/// The options of setup that a client needs. The facade may still write them while the client is being set
/// up; from then on they do not change.
struct KIVClientOptions {
    std::optional<std::string> customSigningCertificate = {};
    std::optional<std::string> defaultConfigurationPath = {};
    bool disableSignatureVerification = false;
};
