#pragma once

#include <string>

#include "config/Signing.h"

namespace kiv::tool {

/// The private key that signs documents, and its certificate as the base64 text that applications take.
struct SigningIdentity {
    PrivateKey key;
    std::string certificate;
};

/// The names of the three files that an identity is kept in.
struct SigningFiles {
    explicit SigningFiles(const std::string& prefix);

    std::string key;            ///< PREFIX.key.pem
    std::string certificate;    ///< PREFIX.certificate.txt, as applications take it
    std::string certificatePem; ///< PREFIX.certificate.pem, for other programs
};

inline constexpr const char* signingCommonName = "Configuration signing";
inline constexpr int signingDays = 3650;

/// The identity in a service's data folder. Makes a key, a certificate and the folder when they are missing.
/// Throws `BadInput`.
SigningIdentity identityInFolder(const std::string& folder);

/// The identity in two files. Throws `BadInput` when a file cannot be used, and when the certificate does not
/// belong to the key.
SigningIdentity identityInFiles(const std::string& key, const std::string& certificate);

} // namespace kiv::tool
