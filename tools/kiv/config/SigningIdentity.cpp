#include "config/SigningIdentity.h"

#include "Command.h"
#include "Files.h"
#include "Network/KIVSignatureChecker.h"
#include "Platform/Crypto/Base64.h"
#include "Platform/Crypto/PublicKey.h"
#include "Platform/System/Files.h"

namespace kiv::tool {
namespace {

void keep(const std::string& path, std::string_view bytes) {
    if (!writeFile(path, bytes)) {
        throw BadInput(path + ": cannot be written", std::nullopt,
                       "Check that its folder may be written to.");
    }
}

bool isOf(std::string_view certificateDer, const PrivateKey& key) {
    constexpr std::string_view sample = "a text to sign";
    const auto publicKey = PublicKey::fromCertificate(certificateDer);
    return publicKey && KIVSignatureChecker::PKCSVerifyBytesSHA256withRSAWithPlainData(
                            sample, sign(key, sample), *publicKey);
}

} // namespace

SigningFiles::SigningFiles(const std::string& prefix)
    : key(prefix + ".key.pem"), certificate(prefix + ".certificate.txt"),
      certificatePem(prefix + ".certificate.pem") {}

SigningIdentity identityInFolder(const std::string& folder) {
    const SigningFiles files(folder + "/signing");
    if (!fileExists(files.key)) {
        keep(files.key, privateKeyPem(generateKey()));
    }
    if (!fileExists(files.certificate)) {
        const PrivateKey key = readPrivateKey(readInput(files.key), files.key);
        const std::string certificate = selfSignedCertificate(key, signingCommonName, signingDays);
        keep(files.certificatePem, certificatePem(certificate));
        keep(files.certificate, encodeBase64(certificate) + "\n");
    }
    return identityInFiles(files.key, files.certificate);
}

SigningIdentity identityInFiles(const std::string& key, const std::string& certificate) {
    const std::string der = certificateDer(readInput(certificate), certificate);
    SigningIdentity identity{readPrivateKey(readInput(key), key), encodeBase64(der)};
    if (!isOf(der, identity.key)) {
        throw BadInput(certificate + ": is not the certificate of " + key, std::nullopt,
                       "Give the two files that one call of 'kiv config keygen' made.");
    }
    return identity;
}

} // namespace kiv::tool
