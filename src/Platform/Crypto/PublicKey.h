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
    /// Nothing when the bytes are not one DER certificate (trailing bytes included) or its key is not RSA.
    /// Dates, issuer and the certificate's own signature are not looked at.
    static std::optional<PublicKey> fromCertificate(std::string_view der);

    /// Size of the modulus, and so of a signature, in bytes.
    std::size_t blockSize() const;

    /// PKCS#1 v1.5 verification of a SHA-256 digest. `signature` must hold exactly `blockSize()` bytes, else
    /// false.
    bool verify(const std::array<std::uint8_t, 32>& sha256Digest, std::string_view signature) const;

private:
    explicit PublicKey(std::shared_ptr<evp_pkey_st> key);
    std::shared_ptr<evp_pkey_st> key_;
};

} // namespace kiv
