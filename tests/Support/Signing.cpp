#include "Support/Signing.h"

#include <stdexcept>

#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include "Platform/Crypto/Base64.h"
#include "Platform/Text/Json.h"

namespace {

void require(bool success) {
    if (!success) {
        throw std::runtime_error("OpenSSL cannot make a key, a certificate or a signature");
    }
}

std::string selfSignedCertificate(EVP_PKEY* key) {
    const std::unique_ptr<X509, void (*)(X509*)> certificate(X509_new(), X509_free);
    X509_NAME* name = X509_get_subject_name(certificate.get());
    const auto* commonName = reinterpret_cast<const unsigned char*>("Test of configuration documents");
    require(ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1) == 1 &&
            ASN1_TIME_set_string(X509_getm_notBefore(certificate.get()), "20140818000000Z") == 1 &&
            ASN1_TIME_set_string(X509_getm_notAfter(certificate.get()), "20150818000000Z") == 1 &&
            X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, commonName, -1, -1, 0) == 1 &&
            X509_set_issuer_name(certificate.get(), name) == 1 &&
            X509_set_pubkey(certificate.get(), key) == 1 &&
            X509_sign(certificate.get(), key, EVP_sha256()) > 0);
    unsigned char* der = nullptr;
    const int size = i2d_X509(certificate.get(), &der);
    require(size > 0);
    const std::string bytes(reinterpret_cast<const char*>(der), static_cast<std::size_t>(size));
    OPENSSL_free(der);
    return bytes;
}

} // namespace

std::string Signer::signature(std::string_view bytes) const {
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    std::string made(static_cast<std::size_t>(EVP_PKEY_get_size(key.get())), '\0');
    std::size_t size = made.size();
    require(EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) == 1 &&
            EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(made.data()), &size, data,
                           bytes.size()) == 1);
    return kiv::encodeBase64(made);
}

std::string Signer::sign(std::string_view payload, const std::optional<std::string>& signedDate) const {
    kiv::json::object envelope{{"data", payload}, {"signature_v0", signature(payload)}};
    if (signedDate) {
        envelope["signed_date"] = *signedDate;
    }
    return kiv::prettyJson(envelope);
}

Signer makeSigner(unsigned bits) {
    std::shared_ptr<EVP_PKEY> key(EVP_RSA_gen(bits), EVP_PKEY_free);
    require(key != nullptr);
    return {kiv::encodeBase64(selfSignedCertificate(key.get())), key};
}
