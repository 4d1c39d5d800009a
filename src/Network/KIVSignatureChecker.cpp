#include "Network/KIVSignatureChecker.h"

#include <utility>

#include "KIVBuildConfig.h"
#include "Platform/Crypto/Base64.h"
#include "Platform/Crypto/Digest.h"

KIVSignatureChecker::KIVSignatureChecker(std::shared_ptr<const KIVClientOptions> clientOptions)
    : clientOptions_(std::move(clientOptions)) {}

bool KIVSignatureChecker::verifySigningOf(std::string_view bytes,
                                          std::optional<std::string_view> signature) const {
    if (!signature) {
        return false;
    }
    const auto key = getPublicKeyRef();
    const auto decoded = key ? kiv::decodeBase64(*signature) : std::nullopt;
    return decoded && PKCSVerifyBytesSHA256withRSAWithPlainData(bytes, *decoded, *key);
}

std::optional<std::string> KIVSignatureChecker::getPublicKeyData() const {
    return kiv::decodeBase64(clientOptions_->customSigningCertificate
                                 ? std::string_view(*clientOptions_->customSigningCertificate)
                                 : KIVCertificateBase64());
}

std::optional<kiv::PublicKey> KIVSignatureChecker::getPublicKeyRef() const {
    const auto certificate = getPublicKeyData();
    return certificate ? kiv::PublicKey::fromCertificate(*certificate) : std::nullopt;
}

bool KIVSignatureChecker::PKCSVerifyBytesSHA256withRSAWithPlainData(std::string_view plainData,
                                                                    std::string_view signature,
                                                                    const kiv::PublicKey& publicKey) {
    const std::size_t block = publicKey.blockSize();
    return signature.size() >= block && publicKey.verify(kiv::sha256(plainData), signature.substr(0, block));
}

std::string_view KIVSignatureChecker::KIVCertificateBase64() { return kiv::build::signingCertificate; }
