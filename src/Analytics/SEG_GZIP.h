#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The bytes in gzip form; nullopt on failure. Empty bytes, and bytes that begin with gzip's magic number,
/// are returned unchanged. `level` goes from 0, no compression, to 1, the smallest form; a negative level
/// leaves the choice to zlib.
std::optional<std::string> seg_gzippedDataWithCompressionLevel(std::string_view data, float level);
std::optional<std::string> seg_gzippedData(std::string_view data);

/// Whether the bytes begin with gzip's magic number.
bool seg_isGzippedData(std::string_view data);
