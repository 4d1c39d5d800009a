#include "Analytics/SEG_GZIP.h"

#include <cmath>
#include <limits>
#include <memory>

#include <zlib.h>

#include "Platform/System/Freer.h"

namespace {

constexpr std::string_view magic = "\x1F\x8B";
constexpr int gzipWindow = 31; ///< 32 KiB, in a gzip wrapper
constexpr int memoryLevel = 8;
constexpr std::size_t outputStep = 16384;

/// The level in zlib's numbers, 0 to 9, or its default when `level` is negative. A `level` above 1 gives a
/// number that zlib refuses.
int zlibLevel(float level) {
    if (level < 0) {
        return Z_DEFAULT_COMPRESSION;
    }
    const float scaled = std::round(9 * level);
    return scaled <= Z_BEST_COMPRESSION ? static_cast<int>(scaled) : Z_BEST_COMPRESSION + 1;
}

} // namespace

std::optional<std::string> seg_gzippedDataWithCompressionLevel(std::string_view data, float level) {
    if (data.empty() || seg_isGzippedData(data)) {
        return std::string(data);
    }
    z_stream stream{};
    if (data.size() > std::numeric_limits<uInt>::max() ||
        deflateInit2(&stream, zlibLevel(level), Z_DEFLATED, gzipWindow, memoryLevel, Z_DEFAULT_STRATEGY) !=
            Z_OK) {
        return std::nullopt;
    }
    const std::unique_ptr<z_stream, kiv::Freer<deflateEnd>> ended(&stream);
    stream.next_in = reinterpret_cast<z_const Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    std::string output;
    int result = Z_OK;
    while (result == Z_OK) {
        const std::size_t produced = output.size();
        output.resize(produced + outputStep);
        stream.next_out = reinterpret_cast<Bytef*>(output.data() + produced);
        stream.avail_out = outputStep;
        result = deflate(&stream, Z_FINISH);
    }
    output.resize(output.size() - stream.avail_out);
    return result == Z_STREAM_END ? std::optional(std::move(output)) : std::nullopt;
}

std::optional<std::string> seg_gzippedData(std::string_view data) {
    return seg_gzippedDataWithCompressionLevel(data, -1);
}

bool seg_isGzippedData(std::string_view data) { return data.starts_with(magic); }
