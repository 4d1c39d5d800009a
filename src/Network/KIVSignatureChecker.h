#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Network/KIVClientOptions.h"
#include "Platform/Crypto/PublicKey.h"

/// Tells whether a document was signed by its configuration service: RSA PKCS#1 v1.5 with SHA-256, the key
/// being that of a certificate whose dates and issuer are not looked at. Callable from any thread; each check
/// makes the key anew.
class KIVSignatureChecker {
public:
    explicit KIVSignatureChecker(std::shared_ptr<const KIVClientOptions> clientOptions);

    /// `signature` is base64 text; without one the answer is false. So it is when the certificate or the
    /// signature cannot be read.
    bool verifySigningOf(std::string_view bytes, std::optional<std::string_view> signature) const;

    /// DER bytes of the certificate: the options' own, even when it cannot be read, else the built-in one.
    /// Nothing when its text is not base64.
    std::optional<std::string> getPublicKeyData() const;

    /// Nothing when the bytes are no certificate with an RSA key.
    std::optional<kiv::PublicKey> getPublicKeyRef() const;

    /// Takes the signature's first block, of the key's size: more bytes are ignored, fewer are no signature.
    static bool PKCSVerifyBytesSHA256withRSAWithPlainData(std::string_view plainData,
                                                          std::string_view signature,
                                                          const kiv::PublicKey& publicKey);

    /// The built-in certificate: base64 text of its DER form.
    static std::string_view KIVCertificateBase64();

private:
    std::shared_ptr<const KIVClientOptions> clientOptions_;
};
