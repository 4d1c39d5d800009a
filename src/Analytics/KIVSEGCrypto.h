#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Encrypts and decrypts stored values. Callable from any thread; must not throw.
class KIVSEGCrypto {
public:
    virtual ~KIVSEGCrypto() = default;

    // Both return nullopt on failure.
    virtual std::optional<std::string> encrypt(std::string_view data) const = 0;
    virtual std::optional<std::string> decrypt(std::string_view data) const = 0;
};
