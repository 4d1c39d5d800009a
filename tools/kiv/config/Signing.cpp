#include "config/Signing.h"

#include <limits>
#include <stdexcept>

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include "Command.h"
#include "Files.h"
#include "Model/KIVDocumentLimits.h"
#include "Model/KIVJSONKeys.h"
#include "Platform/Crypto/Base64.h"
#include "Platform/System/Freer.h"
#include "Platform/Text/Json.h"

namespace kiv::tool {
namespace {

using Bio = std::unique_ptr<BIO, Freer<BIO_free>>;
using Certificate = std::unique_ptr<X509, Freer<X509_free>>;

constexpr unsigned keyBits = 2048;

void require(bool success) {
    if (!success) {
        throw BadInput("OpenSSL could not make a key, a certificate or a signature", std::nullopt,
                       "'openssl version' shows whether OpenSSL itself works.");
    }
}

Bio bytesToRead(std::string_view bytes) {
    require(bytes.size() <= static_cast<std::size_t>(std::numeric_limits<int>::max()));
    return Bio(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
}

std::string written(const Bio& bio) {
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<std::size_t>(size)};
}

/// Keeps OpenSSL from asking for a password on the terminal.
int noPassword(char*, int, int, void*) { return -1; }

std::string der(X509* certificate) {
    unsigned char* bytes = nullptr;
    const int size = i2d_X509(certificate, &bytes);
    require(size > 0);
    std::string result(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
    OPENSSL_free(bytes);
    return result;
}

void giveRandomSerialNumber(X509* certificate) {
    const std::unique_ptr<BIGNUM, Freer<BN_free>> number(BN_new());
    constexpr int bits = 127; // stays positive in 16 bytes
    require(BN_rand(number.get(), bits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
            BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr);
}

} // namespace

PrivateKey generateKey() {
    PrivateKey key(EVP_RSA_gen(keyBits), Freer<EVP_PKEY_free>());
    require(key != nullptr);
    return key;
}

std::string privateKeyPem(const PrivateKey& key) {
    const Bio bio(BIO_new(BIO_s_mem()));
    require(PEM_write_bio_PrivateKey(bio.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
    return written(bio);
}

PrivateKey readPrivateKey(const std::string& pem, const std::string& name) {
    const Bio bio = bytesToRead(pem);
    PrivateKey key(PEM_read_bio_PrivateKey(bio.get(), nullptr, noPassword, nullptr), Freer<EVP_PKEY_free>());
    if (!key) {
        throw BadInput(name + (pem.find("ENCRYPTED") != pem.npos ? ": the key is encrypted"
                                                                 : ": holds no private key in PEM form"),
                       std::nullopt, "'kiv config keygen' makes a key that can be used.");
    }
    if (EVP_PKEY_is_a(key.get(), "RSA") != 1) {
        throw BadInput(name + ": documents are signed with an RSA key; this key is of another kind",
                       std::nullopt, "'kiv config keygen' makes an RSA key.");
    }
    return key;
}

std::string selfSignedCertificate(const PrivateKey& key, const std::string& commonName, int days) {
    const Certificate certificate(X509_new());
    X509_NAME* name = X509_get_subject_name(certificate.get());
    constexpr long version3 = 2;
    giveRandomSerialNumber(certificate.get());
    require(X509_set_version(certificate.get(), version3) == 1 &&
            X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0) != nullptr &&
            X509_time_adj_ex(X509_getm_notAfter(certificate.get()), days, 0, nullptr) != nullptr);
    const auto* text = reinterpret_cast<const unsigned char*>(commonName.c_str());
    if (X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, text, -1, -1, 0) != 1) {
        throw WrongUsage("--name: a certificate's name has 1 to 64 characters");
    }
    require(X509_set_issuer_name(certificate.get(), name) == 1 &&
            X509_set_pubkey(certificate.get(), key.get()) == 1 &&
            X509_sign(certificate.get(), key.get(), EVP_sha256()) > 0);
    return der(certificate.get());
}

std::string certificatePem(std::string_view derBytes) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(derBytes.data());
    const Certificate certificate(d2i_X509(nullptr, &bytes, static_cast<long>(derBytes.size())));
    const Bio bio(BIO_new(BIO_s_mem()));
    require(certificate && PEM_write_bio_X509(bio.get(), certificate.get()) == 1);
    return written(bio);
}

std::string certificateDer(std::string_view text, const std::string& name) {
    if (text.find("-----BEGIN") != text.npos) {
        const Bio bio = bytesToRead(text);
        const Certificate certificate(PEM_read_bio_X509(bio.get(), nullptr, noPassword, nullptr));
        if (!certificate) {
            throw BadInput(name + ": holds no certificate in PEM form", std::nullopt, adviceForCertificate);
        }
        return der(certificate.get());
    }
    const std::string_view line = withoutLastLineBreak(text);
    auto bytes = decodeBase64(line);
    std::string joined(line);
    std::erase_if(joined, [](char c) { return c == '\r' || c == '\n'; });
    if (!bytes && decodeBase64(joined)) {
        throw BadInput(
            name + ": the base64 text has line breaks", std::nullopt,
            "customSigningCertificate takes the text on one line: an application would refuse this one.");
    }
    if (!bytes) {
        throw BadInput(name + ": holds neither the base64 text nor the PEM text of a certificate",
                       std::nullopt, adviceForCertificate);
    }
    return std::move(*bytes);
}

std::string sign(const PrivateKey& key, std::string_view bytes) {
    const std::unique_ptr<EVP_MD_CTX, Freer<EVP_MD_CTX_free>> context(EVP_MD_CTX_new());
    std::string signature(static_cast<std::size_t>(EVP_PKEY_get_size(key.get())), '\0');
    std::size_t size = signature.size();
    require(EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) == 1 &&
            EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size,
                           reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()) == 1);
    signature.resize(size);
    return signature;
}

std::string signedEnvelope(const PrivateKey& key, std::string_view payload, const std::string& date) {
    const json::object envelope{{KIVC_JSON_data, payload},
                                {KIVC_JSON_signature, encodeBase64(sign(key, payload))},
                                {KIVC_JSON_data_signedDate, date}};
    std::string text = prettyJson(envelope) + "\n";
    if (text.size() > mostEnvelopeBytes) {
        throw BadInput("the signed document has " + std::to_string(text.size()) +
                           " bytes; applications refuse an answer of more than " +
                           std::to_string(mostEnvelopeBytes),
                       std::nullopt, "Shorten the payload, or divide it among several keys.");
    }
    return text;
}

} // namespace kiv::tool
