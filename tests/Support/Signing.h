#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct evp_pkey_st;

/// A key pair with a self-signed certificate, in the place of a configuration service.
struct Signer {
    std::string certificateBase64;
    std::shared_ptr<evp_pkey_st> key;

    /// Base64 of the bytes' signature.
    std::string signature(std::string_view bytes) const;

    /// The text of an envelope around the payload; without "signed_date" when there is no date.
    std::string sign(std::string_view payload,
                     const std::optional<std::string>& signedDate = "2026-01-31T12:00:00.000Z") const;
};

/// Makes a new RSA key of so many bits. Its certificate ran out long ago.
Signer makeSigner(unsigned bits = 2048);
