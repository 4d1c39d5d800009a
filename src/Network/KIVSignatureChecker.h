#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Network/KIVClientOptions.h"
#include "Platform/Crypto/PublicKey.h"

/// Checks that a document was signed by its configuration service: RSA PKCS#1 v1.5 with SHA-256, by the key
/// of a certificate. The certificate's dates and issuer do not count. Callable from any thread; each check
/// reads the certificate anew.
class KIVSignatureChecker {
public:
    explicit KIVSignatureChecker(std::shared_ptr<const KIVClientOptions> clientOptions);

    /// `signature` is base64 text. False without a signature, and when the certificate or the signature
    /// cannot be read.
    bool verifySigningOf(std::string_view bytes, std::optional<std::string_view> signature) const;

    /// The DER bytes of the options' certificate, or of the built-in one when the options have none; nullopt
    /// when its text is not base64.
    std::optional<std::string> getPublicKeyData() const;

    /// The key of that certificate; nullopt when the bytes are no certificate with an RSA key.
    std::optional<kiv::PublicKey> getPublicKeyRef() const;

    /// Checks the first block of the signature, which is as large as the key. Further bytes are ignored; with
    /// fewer bytes the check fails.
    static bool PKCSVerifyBytesSHA256withRSAWithPlainData(std::string_view plainData,
                                                          std::string_view signature,
                                                          const kiv::PublicKey& publicKey);

    /// The built-in certificate: base64 text of its DER form.
    static std::string_view KIVCertificateBase64();

private:
    std::shared_ptr<const KIVClientOptions> clientOptions_;
};
