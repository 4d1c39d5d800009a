#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Encryption with a secret key, by OpenSSL. Each function gives nullopt on failure. When OpenSSL itself has
/// failed, `*status` is then the number of its reason; `status` may be null. Callable from any thread.
namespace kiv {

/// AES-256 in CBC mode with PKCS#7 padding. A key of other than 32 bytes and an IV of other than 16 bytes are
/// failures, and so is encrypted data that does not end in a padding.
std::optional<std::string> encryptAes256Cbc(std::string_view data, std::string_view key, std::string_view iv);
std::optional<std::string> decryptAes256Cbc(std::string_view data, std::string_view key, std::string_view iv);

/// `size` bytes, derived from the password by PBKDF2 with HMAC-SHA1.
std::optional<std::string> deriveKey(std::string_view password, std::string_view salt, int rounds,
                                     std::size_t size, int* status = nullptr);

/// `size` bytes of the secure generator.
std::optional<std::string> randomBytes(std::size_t size, int* status = nullptr);

} // namespace kiv
