#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Secret-key encryption and what it needs, over OpenSSL. Each is nothing on failure; `status`, when given,
/// is then the number of OpenSSL's reason, if it has one. Callable from any thread.
namespace kiv {

/// AES-256 in CBC mode with PKCS#7 padding. A key that is not 32 bytes or an IV that is not 16 is a failure;
/// so are data that do not end in a padding when they are decrypted.
std::optional<std::string> encryptAes256Cbc(std::string_view data, std::string_view key, std::string_view iv);
std::optional<std::string> decryptAes256Cbc(std::string_view data, std::string_view key, std::string_view iv);

/// PBKDF2 with HMAC-SHA1.
std::optional<std::string> deriveKey(std::string_view password, std::string_view salt, int rounds,
                                     std::size_t size, int* status = nullptr);

/// From the secure generator.
std::optional<std::string> randomBytes(std::size_t size, int* status = nullptr);

} // namespace kiv
