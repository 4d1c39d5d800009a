#pragma once

#include <memory>
#include <string>
#include <string_view>

struct evp_pkey_st;

/// The private keys, certificates and signatures of a publisher of configuration documents.
namespace kiv::tool {

using PrivateKey = std::shared_ptr<evp_pkey_st>;

/// A new RSA key of 2048 bits.
PrivateKey generateKey();

/// The key as PEM text, in PKCS#8, not encrypted.
std::string privateKeyPem(const PrivateKey& key);

/// The unencrypted RSA key in the PEM text. Throws `BadInput` when there is none; the message begins with
/// `name`.
PrivateKey readPrivateKey(const std::string& pem, const std::string& name);

/// The DER bytes of a self-signed certificate, valid from now for `days`. Throws `WrongUsage` unless
/// `commonName` has 1 to 64 characters.
std::string selfSignedCertificate(const PrivateKey& key, const std::string& commonName, int days);

std::string certificatePem(std::string_view der);

/// What to do when a file holds no certificate that can be used.
inline constexpr const char* adviceForCertificate =
    "Give the .certificate.txt or .certificate.pem that 'kiv config keygen' made.";

/// The DER bytes of a certificate. `text` is PEM, or the base64 text on one line that applications take.
/// Throws `BadInput`; the message begins with `name`.
std::string certificateDer(std::string_view text, const std::string& name);

/// The RSA signature of the bytes, PKCS#1 v1.5 with SHA-256.
std::string sign(const PrivateKey& key, std::string_view bytes);

/// The text of an envelope around a payload, whose text is signed as it is. Throws `BadInput` when it is
/// larger than `mostEnvelopeBytes`.
std::string signedEnvelope(const PrivateKey& key, std::string_view payload, const std::string& date);

} // namespace kiv::tool
