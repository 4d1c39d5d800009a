#pragma once

#include <string_view>

namespace kiv {

/// Whether bytes that begin like a binary property list can be handed to the parser, which recurses for each level and
/// makes a copy of an object for each reference to it: all objects lie within the bytes, none contains itself, they
/// nest at most `maxDepth` deep, and all references together make no more objects than there are bytes.
bool isSafeBinaryPropertyList(std::string_view bytes, unsigned maxDepth);

} // namespace kiv
