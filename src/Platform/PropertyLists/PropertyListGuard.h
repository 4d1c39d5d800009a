#pragma once

#include <cstddef>
#include <string_view>

/// The limits of property lists, and a look over binary ones before libplist parses them: it recurses as deep
/// as a list nests, follows a shared reference each time it is met, and trusts more than one may trust a
/// foreign file. The guard neither recurses nor allocates in proportion to what a list claims to hold.
namespace kiv {

/// Arrays and dictionaries may nest this deep. What reading and writing need for that fits a stack of 256
/// KiB.
constexpr std::size_t propertyListDepth = 500;

/// What the values of a list may take in memory: a flat sum for each, and the bytes of texts (as UTF-8) and
/// data twice. Every text of 64 MiB fits, the largest that a document may hold, and half of the sum is left
/// for other values. It bounds the file, too, in which that text takes 128 MiB as UTF-16.
constexpr std::size_t propertyListMemory = 256U << 20;

/// The flat sum for a value: a node of libplist with its data and its place among its siblings.
constexpr std::size_t propertyListValueMemory = 64;

/// Whether the bytes are a well-formed binary list within these limits, without a circle of references.
bool isSafeBinaryPropertyList(std::string_view bytes);

} // namespace kiv
