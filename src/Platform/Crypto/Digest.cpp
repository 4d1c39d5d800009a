// OpenSSL has deprecated these functions, yet they are the fastest, need no context and cannot fail.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "Platform/Crypto/Digest.h"

#include <openssl/md5.h>
#include <openssl/sha.h>

#include "Platform/Text/Text.h"

namespace kiv {

std::array<std::uint8_t, 16> md5(std::string_view bytes) {
    std::array<std::uint8_t, 16> digest;
    MD5(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest.data());
    return digest;
}

std::array<std::uint8_t, 32> sha256(std::string_view bytes) {
    // SHA256() would look up its algorithm on each call; these three functions do not.
    std::array<std::uint8_t, 32> digest;
    SHA256_CTX context;
    SHA256_Init(&context);
    SHA256_Update(&context, bytes.data(), bytes.size());
    SHA256_Final(digest.data(), &context);
    return digest;
}

std::string md5Hex(std::string_view bytes) {
    const auto digest = md5(bytes);
    return hexText({reinterpret_cast<const char*>(digest.data()), digest.size()});
}

} // namespace kiv
