#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace kiv {

std::array<std::uint8_t, 16> md5(std::string_view bytes);

/// The first four bytes of the MD5 as a number, the first byte the lowest.
std::uint32_t md5Start(std::string_view bytes);

std::array<std::uint8_t, 32> sha256(std::string_view bytes);

/// MD5 as 32 lower-case hexadecimal digits.
std::string md5Hex(std::string_view bytes);

} // namespace kiv
