#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

struct evp_pkey_st;

namespace kiv {

/// The RSA public key of an X.509 certificate. Immutable; may be used from several threads at once.
class PublicKey {
public:
    /// Nullopt when the bytes are not exactly one DER certificate, or when its key is not RSA. Does not check
    /// the certificate's own dates, issuer and signature.
    static std::optional<PublicKey> fromCertificate(std::string_view der);

    /// Size of the modulus, and so of a signature, in bytes.
    std::size_t blockSize() const;

    /// Whether `signature` is this key's PKCS#1 v1.5 signature of the digest. False when the signature does
    /// not have exactly `blockSize()` bytes.
    bool verify(const std::array<std::uint8_t, 32>& sha256Digest, std::string_view signature) const;

private:
    explicit PublicKey(std::shared_ptr<evp_pkey_st> key);
    std::shared_ptr<evp_pkey_st> key_;
};

} // namespace kiv
