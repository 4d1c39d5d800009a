#pragma once

#include <optional>
#include <string>
#include <string_view>

/// What keeps stored values from other readers. Callable from any thread; must not throw.
class KIVSEGCrypto {
public:
    virtual ~KIVSEGCrypto() = default;

    /// Nothing on failure.
    virtual std::optional<std::string> encrypt(std::string_view data) const = 0;
    virtual std::optional<std::string> decrypt(std::string_view data) const = 0;
};
