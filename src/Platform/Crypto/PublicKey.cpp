#include "Platform/Crypto/PublicKey.h"

#include <limits>
#include <utility>

#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include "Platform/Crypto/OpenSsl.h"
#include "Platform/System/Freer.h"
#include "Platform/Threads/Fork.h"

namespace kiv {

PublicKey::PublicKey(std::shared_ptr<evp_pkey_st> key) : key_(std::move(key)) {}

std::optional<PublicKey> PublicKey::fromCertificate(std::string_view der) {
    if (der.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        return std::nullopt;
    }
    const ForkShield shield; // OpenSSL has locks of its own
    const ErrorQueueGuard guard;
    const auto* const begin = reinterpret_cast<const unsigned char*>(der.data());
    const unsigned char* at = begin;
    const std::unique_ptr<X509, Freer<X509_free>> certificate(
        d2i_X509(nullptr, &at, static_cast<long>(der.size())));
    if (!certificate || at != begin + der.size()) {
        return std::nullopt;
    }
    std::shared_ptr<EVP_PKEY> key(X509_get_pubkey(certificate.get()), Freer<EVP_PKEY_free>());
    if (!key || EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_RSA) {
        return std::nullopt;
    }
    return PublicKey(std::move(key));
}

std::size_t PublicKey::blockSize() const { return static_cast<std::size_t>(EVP_PKEY_get_size(key_.get())); }

bool PublicKey::verify(const std::array<std::uint8_t, 32>& sha256Digest, std::string_view signature) const {
    if (signature.size() != blockSize()) {
        return false;
    }
    const ForkShield shield;
    const ErrorQueueGuard guard;
    const std::unique_ptr<EVP_PKEY_CTX, Freer<EVP_PKEY_CTX_free>> context(
        EVP_PKEY_CTX_new(key_.get(), nullptr));
    return context && EVP_PKEY_verify_init(context.get()) == 1 &&
           EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1 &&
           EVP_PKEY_CTX_set_signature_md(context.get(), EVP_sha256()) == 1 &&
           EVP_PKEY_verify(context.get(), reinterpret_cast<const unsigned char*>(signature.data()),
                           signature.size(), sha256Digest.data(), sha256Digest.size()) == 1;
}

} // namespace kiv
