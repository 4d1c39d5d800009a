// OpenSSL has deprecated these functions, yet they are the fastest, need no context and cannot fail.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "Platform/Crypto/Digest.h"

#include <algorithm>

#include <openssl/md5.h>
#include <openssl/sha.h>

#include "Platform/Text/Text.h"

namespace kiv {

std::array<std::uint8_t, 16> md5(std::string_view bytes) {
    std::array<std::uint8_t, 16> digest;
    MD5(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest.data());
    return digest;
}

std::uint32_t md5Start(std::string_view bytes) {
    constexpr std::size_t blockSize = 64;
    constexpr std::size_t sizeOfLength = 8;
    if (bytes.size() + 1 + sizeOfLength > blockSize) {
        const auto digest = md5(bytes);
        return digest[0] | std::uint32_t{digest[1]} << 8U | std::uint32_t{digest[2]} << 16U |
               std::uint32_t{digest[3]} << 24U;
    }
    // One block: OpenSSL takes longer to fill it than this does.
    unsigned char block[blockSize] = {};
    std::ranges::copy(bytes, block);
    block[bytes.size()] = 0x80;
    block[blockSize - sizeOfLength] = static_cast<unsigned char>(bytes.size() << 3U);
    block[blockSize - sizeOfLength + 1] = static_cast<unsigned char>(bytes.size() >> 5U);
    MD5_CTX context;
    MD5_Init(&context);
    MD5_Transform(&context, block);
    return context.A;
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
