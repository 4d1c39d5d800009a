#pragma once

#include <string>

namespace kiv {

/// A new random UUID, version 4, in upper case, hyphenated.
std::string newUuid();

} // namespace kiv
