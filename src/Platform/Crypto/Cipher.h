#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Encryption with a secret key, by OpenSSL. Each function gives nullopt on failure. When OpenSSL itself
/// fails, the function sets `*status` to OpenSSL's reason number; `status` may be null. Callable from any
/// thread.
namespace kiv {

/// AES-256 in CBC mode with PKCS#7 padding. Fails unless the key has 32 bytes and the IV has 16. Decryption
/// also fails when the decrypted data does not end in a padding.
std::optional<std::string> encryptAes256Cbc(std::string_view data, std::string_view key, std::string_view iv);
std::optional<std::string> decryptAes256Cbc(std::string_view data, std::string_view key, std::string_view iv);

/// `size` bytes, derived from the password by PBKDF2 with HMAC-SHA1.
std::optional<std::string> deriveKey(std::string_view password, std::string_view salt, int rounds,
                                     std::size_t size, int* status = nullptr);

/// `size` bytes from OpenSSL's secure random generator.
std::optional<std::string> randomBytes(std::size_t size, int* status = nullptr);

} // namespace kiv
