#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Model/KIVConfigurationDataResult.h"
#include "Network/KIVClientOptions.h"
#include "Network/KIVNetworkError.h"
#include "Network/KIVSignatureChecker.h"
#include "Platform/Json.h"

/// Reads what the configuration service sent. Callable from any thread.
///
/// Requests belong here too: a transport given to the constructor, and one operation that performs a request
/// and classifies its outcome as a `KIVNetworkError`.
class KIVNetwork {
public:
    /// Whether signatures are checked at all is read from the options here; the certificate when it is
    /// needed.
    explicit KIVNetwork(std::shared_ptr<const KIVClientOptions> clientOptions);
    virtual ~KIVNetwork() = default;
    KIVNetwork(const KIVNetwork&) = delete;
    KIVNetwork& operator=(const KIVNetwork&) = delete;

    /// The payload of an envelope, an object without nulls, once its signature has been verified. Null on
    /// failure: `error`, when given, is then `signatureWasNotVerified` or, for a payload that is missing or
    /// no JSON object, `jsonParsing`. `url` says in the log where the envelope came from.
    KIVConfigurationDataResult::Document extractInnerJson(const kiv::json::value& envelope,
                                                          std::string_view url, KIVNetworkError* error) const;

    /// The error's name; nothing for `none` and for numbers that are no error.
    static std::optional<std::string> networkErrorString(KIVNetworkError error);

    /// Called for every failure, on the thread that met it. Does nothing.
    virtual void reportNetworkError(KIVNetworkError error, std::string_view url,
                                    std::string_view details) const;

private:
    const KIVSignatureChecker signatureChecker_;
    const bool isSignatureCheckDisabled_;
};
