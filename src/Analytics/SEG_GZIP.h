#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The gzip form of bytes. Empty bytes, and those that begin as gzip does, are given back as they are.
/// Nothing on failure. `level` goes from 0, as large as before, to 1, as small as can be; a negative one
/// leaves the choice to zlib.
std::optional<std::string> seg_gzippedDataWithCompressionLevel(std::string_view data, float level);
std::optional<std::string> seg_gzippedData(std::string_view data);

/// Whether the bytes begin with gzip's magic number.
bool seg_isGzippedData(std::string_view data);
