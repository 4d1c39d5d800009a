#pragma once

#include <memory>
#include <string>
#include <string_view>

struct evp_pkey_st;

/// Keys, certificates and signatures of those who publish configuration documents.
namespace kiv::tool {

using PrivateKey = std::shared_ptr<evp_pkey_st>;

/// A new RSA key of 2048 bits.
PrivateKey generateKey();

/// PKCS#8, not encrypted.
std::string privateKeyPem(const PrivateKey& key);

/// Throws `BadInput` unless it is the PEM text of an RSA key that is not encrypted; `name` says there what it
/// is.
PrivateKey readPrivateKey(const std::string& pem, const std::string& name);

/// DER of a self-signed certificate that is valid from now on. `commonName` has 1 to 64 characters.
std::string selfSignedCertificate(const PrivateKey& key, const std::string& commonName, int days);

std::string certificatePem(std::string_view der);

/// The DER bytes of a certificate given as PEM text or as the base64 text that the library takes. Throws
/// `BadInput`.
std::string certificateDer(std::string_view text, const std::string& name);

/// RSA PKCS#1 v1.5 with SHA-256 over the bytes.
std::string sign(const PrivateKey& key, std::string_view bytes);

/// The envelope around a payload, as the text of a file.
std::string signedEnvelope(const PrivateKey& key, std::string_view payload, const std::string& date);

} // namespace kiv::tool
