#pragma once

#include <memory>
#include <optional>
#include <string>

#include <kiv/KIVOptions.h>

class KIVClient;
class KIVCoreInstance;
class KIVDeviceProperties;

/// What a client is made from. A child after a fork makes its client from its parent's parameters.
struct ClientParameters {
    /// Of the key that the client works for: the stored key, or else the key of the setup.
    std::shared_ptr<KIVDeviceProperties> deviceProperties;
    std::optional<std::string> storedKey;
    KIVOptions options;
};

/// A client for the key of `parameters`, with the repositories of `core`. The flags of that key get the
/// default freeze level of the options.
std::shared_ptr<KIVClient> makeClient(const ClientParameters& parameters, const KIVCoreInstance& core);
