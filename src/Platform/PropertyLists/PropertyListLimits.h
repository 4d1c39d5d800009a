#pragma once

#include <cstddef>

/// How deep and how large a property list may be, in both forms.
namespace kiv {

/// Arrays and dictionaries may nest this deep. Reading and writing a list of this depth fits a stack of 256
/// KiB.
constexpr std::size_t propertyListDepth = 500;

/// What the values of a list may take in memory, in bytes: a flat sum for each value and key, and the UTF-8
/// bytes of texts twice. The largest text of a document, 64 MiB, takes half of it. A file may be as large,
/// too: in UTF-16 that text takes 128 MiB.
constexpr std::size_t propertyListMemory = 256U << 20;

/// The flat sum for a value, in bytes. It is more than a value takes in an array or dictionary.
constexpr std::size_t propertyListValueMemory = 64;

} // namespace kiv
