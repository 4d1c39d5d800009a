#pragma once

#include <string>

#include "config/Signing.h"

namespace kiv::tool {

/// Who signs: a private key and its certificate, as the text that applications take.
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

/// The identity kept in a service's data folder; made, and the folder with it, when there is none yet. Throws
/// `BadInput`.
SigningIdentity identityInFolder(const std::string& folder);

/// The identity in two files. Throws `BadInput`, also when the certificate is not the key's.
SigningIdentity identityInFiles(const std::string& key, const std::string& certificate);

} // namespace kiv::tool
