#include "serve/Gzip.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>

#include <zlib.h>

#include "Platform/System/Freer.h"

namespace kiv::tool {

std::optional<std::string> gunzip(std::string_view bytes, std::size_t maxBytes) {
    constexpr int gzipOnly = 16 + MAX_WBITS;
    z_stream stream{};
    if (bytes.size() > std::numeric_limits<uInt>::max() || inflateInit2(&stream, gzipOnly) != Z_OK) {
        return std::nullopt;
    }
    const std::unique_ptr<z_stream, Freer<inflateEnd>> ended(&stream);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data())); // zlib does not write to it
    stream.avail_in = static_cast<uInt>(bytes.size());
    std::string content;
    std::array<char, 1U << 16> piece{};
    int result = Z_OK;
    while (result == Z_OK && content.size() <= maxBytes) {
        stream.next_out = reinterpret_cast<Bytef*>(piece.data());
        stream.avail_out = static_cast<uInt>(piece.size());
        result = inflate(&stream, Z_NO_FLUSH);
        content.append(piece.data(), piece.size() - stream.avail_out);
    }
    const bool isWhole = result == Z_STREAM_END && stream.avail_in == 0 && content.size() <= maxBytes;
    return isWhole ? std::optional(std::move(content)) : std::nullopt;
}

} // namespace kiv::tool
