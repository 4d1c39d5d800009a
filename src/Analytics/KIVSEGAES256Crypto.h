#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Analytics/KIVSEGCrypto.h"

/// AES-256 in CBC mode with PKCS#7 padding, with a key derived from a password. Salt and IV are not stored
/// with the data: an instance decrypts only what was encrypted with its own password, salt and IV.
class KIVSEGAES256Crypto : public KIVSEGCrypto {
public:
    /// Makes a random salt and IV.
    explicit KIVSEGAES256Crypto(std::string password);
    /// `iv` must be 16 bytes: with another size, `encrypt` and `decrypt` fail.
    KIVSEGAES256Crypto(std::string password, std::string salt, std::string iv);

    const std::string& password() const { return password_; }
    const std::string& salt() const { return salt_; }
    const std::string& iv() const { return iv_; }

    /// 32 bytes, empty on failure. Derived when it is first needed, which takes milliseconds.
    const std::string& aesKey() const;

    std::optional<std::string> encrypt(std::string_view data) const override;
    std::optional<std::string> decrypt(std::string_view data) const override;

    /// Both return an empty text on failure.
    static std::string AESKeyForPassword(std::string_view password, std::string_view salt);
    static std::string randomDataOfLength(std::size_t length);

private:
    const std::string password_;
    const std::string salt_;
    const std::string iv_;
    mutable std::once_flag derived_;
    mutable std::string aesKey_;
};
