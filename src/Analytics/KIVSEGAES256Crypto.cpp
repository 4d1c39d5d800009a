#include "Analytics/KIVSEGAES256Crypto.h"

#include <utility>

#include "Analytics/KIVSEGLog.h"
#include "Platform/Crypto/Cipher.h"

namespace {

constexpr std::size_t saltSize = 8;
constexpr std::size_t ivSize = 16;
constexpr std::size_t keySize = 32;
constexpr int rounds = 10'000;

} // namespace

KIVSEGAES256Crypto::KIVSEGAES256Crypto(std::string password)
    : KIVSEGAES256Crypto(std::move(password), randomDataOfLength(saltSize), randomDataOfLength(ivSize)) {}

KIVSEGAES256Crypto::KIVSEGAES256Crypto(std::string password, std::string salt, std::string iv)
    : password_(std::move(password)), salt_(std::move(salt)), iv_(std::move(iv)) {}

const std::string& KIVSEGAES256Crypto::aesKey() const {
    std::call_once(derived_, [this] { aesKey_ = AESKeyForPassword(password_, salt_); });
    return aesKey_;
}

std::optional<std::string> KIVSEGAES256Crypto::encrypt(std::string_view data) const {
    auto encrypted = kiv::encryptAes256Cbc(data, aesKey(), iv_);
    if (!encrypted) {
        KIV_SEG_LOG("Unable to encrypt data");
    }
    return encrypted;
}

std::optional<std::string> KIVSEGAES256Crypto::decrypt(std::string_view data) const {
    auto decrypted = kiv::decryptAes256Cbc(data, aesKey(), iv_);
    if (!decrypted) {
        KIV_SEG_LOG("Unable to decrypt data");
    }
    return decrypted;
}

std::string KIVSEGAES256Crypto::AESKeyForPassword(std::string_view password, std::string_view salt) {
    int status = 0;
    const auto key = kiv::deriveKey(password, salt, rounds, keySize, &status);
    if (!key) {
        KIV_SEG_LOG("Unable to create AES key for password: %d", status);
    }
    return key.value_or("");
}

std::string KIVSEGAES256Crypto::randomDataOfLength(std::size_t length) {
    int status = 0;
    const auto bytes = kiv::randomBytes(length, &status);
    if (!bytes) {
        KIV_SEG_LOG("Unable to generate random bytes: %d", status);
    }
    return bytes.value_or("");
}
