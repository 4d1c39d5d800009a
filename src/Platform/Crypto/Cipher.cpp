#include "Platform/Crypto/Cipher.h"

#include <limits>
#include <memory>

#include <openssl/evp.h>
#include <openssl/rand.h>

#include "Platform/Crypto/OpenSsl.h"
#include "Platform/System/Freer.h"
#include "Platform/Threads/Fork.h"

namespace kiv {
namespace {

constexpr std::size_t keySize = 32;
constexpr std::size_t blockSize = 16;

bool fitsInt(std::size_t size) {
    return size <= static_cast<std::size_t>(std::numeric_limits<int>::max()) - blockSize;
}

const unsigned char* bytesOf(std::string_view data) {
    return reinterpret_cast<const unsigned char*>(data.data());
}

unsigned char* bytesOf(std::string& data) { return reinterpret_cast<unsigned char*>(data.data()); }

std::optional<std::string> crypt(bool encrypts, std::string_view data, std::string_view key,
                                 std::string_view iv) {
    if (key.size() != keySize || iv.size() != blockSize || !fitsInt(data.size())) {
        return std::nullopt;
    }
    const ErrorQueueGuard guard;
    const std::unique_ptr<EVP_CIPHER_CTX, Freer<EVP_CIPHER_CTX_free>> context(EVP_CIPHER_CTX_new());
    std::string result(data.size() + blockSize, '\0');
    int size = 0;
    int last = 0;
    if (!context ||
        EVP_CipherInit_ex2(context.get(), EVP_aes_256_cbc(), bytesOf(key), bytesOf(iv), encrypts ? 1 : 0,
                           nullptr) != 1 ||
        EVP_CipherUpdate(context.get(), bytesOf(result), &size, bytesOf(data),
                         static_cast<int>(data.size())) != 1 ||
        EVP_CipherFinal_ex(context.get(), bytesOf(result) + size, &last) != 1) {
        return std::nullopt;
    }
    result.resize(static_cast<std::size_t>(size + last));
    return result;
}

/// The `size` bytes that `make` writes. `make` returns the result of the OpenSSL function that it calls: 1 on
/// success.
template <class Make>
std::optional<std::string> made(std::size_t size, int* status, const Make& make) {
    if (!fitsInt(size)) {
        return std::nullopt;
    }
    const ErrorQueueGuard guard;
    std::string bytes(size, '\0');
    if (make(bytesOf(bytes)) == 1) {
        return bytes;
    }
    if (status) {
        *status = guard.reason();
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> encryptAes256Cbc(std::string_view data, std::string_view key,
                                            std::string_view iv) {
    return crypt(true, data, key, iv);
}

std::optional<std::string> decryptAes256Cbc(std::string_view data, std::string_view key,
                                            std::string_view iv) {
    return crypt(false, data, key, iv);
}

std::optional<std::string> deriveKey(std::string_view password, std::string_view salt, int rounds,
                                     std::size_t size, int* status) {
    return made(size, status, [&](unsigned char* key) {
        return fitsInt(password.size()) && fitsInt(salt.size())
                   ? PKCS5_PBKDF2_HMAC_SHA1(password.data(), static_cast<int>(password.size()), bytesOf(salt),
                                            static_cast<int>(salt.size()), rounds, static_cast<int>(size),
                                            key)
                   : 0;
    });
}

std::optional<std::string> randomBytes(std::size_t size, int* status) {
    const ForkShield shield; // OpenSSL has locks of its own
    return made(size, status,
                [&](unsigned char* bytes) { return RAND_bytes(bytes, static_cast<int>(size)); });
}

} // namespace kiv
