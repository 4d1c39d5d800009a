#pragma once

#include <cstddef>

#include "Platform/Text/Json.h"

/// How deep and how large a property list may be, in both forms.
namespace kiv {

/// Arrays and dictionaries may nest this deep: a list can hold every document. Reading and writing a list of
/// this depth fits a stack of 512 KiB.
constexpr std::size_t propertyListDepth = maxJsonDepth + 1;

/// Limit in bytes for the values of a list in memory. Each value and key counts a flat sum, and each text
/// twice its UTF-8 bytes, so the largest text of a document, 64 MiB, takes half of the limit. A file may have
/// this size too: as UTF-16, the largest text takes 128 MiB.
constexpr std::size_t propertyListMemory = 256U << 20;

/// The flat sum for a value, in bytes. It is more than a value takes in an array or dictionary.
constexpr std::size_t propertyListValueMemory = 64;

} // namespace kiv
