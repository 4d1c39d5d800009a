#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace kiv {

/// A new random UUID, version 4, in upper case, hyphenated.
std::string newUuid();

/// The bytes as a UUID in the form of `newUuid`. Replaces the bits of version and variant.
std::string uuidText(std::array<std::uint8_t, 16> bytes);

} // namespace kiv
