#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct evp_pkey_st;

/// A key pair with a self-signed certificate. It signs documents as a configuration service does.
struct Signer {
    std::string certificateBase64;
    std::shared_ptr<evp_pkey_st> key;

    /// The signature of the bytes, in base64.
    std::string signature(std::string_view bytes) const;

    /// The text of a signed envelope around the payload. It has no "signed_date" when there is no date.
    std::string sign(std::string_view payload,
                     const std::optional<std::string>& signedDate = "2026-01-31T12:00:00.000Z") const;
};

/// Makes a new RSA key of `bits` bits. Its certificate expired in 2015, which the library must
/// not mind.
Signer makeSigner(unsigned bits = 2048);
