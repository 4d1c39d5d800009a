#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Platform/PropertyList.h"

/// Reads the bytes as an archived record. What can be read can be written, and reads the same from then on.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto first = kiv::decodePropertyList({reinterpret_cast<const char*>(data), size});
    if (!first) {
        return 0;
    }
    const std::string written = kiv::encodePropertyList(*first);
    const auto second = kiv::decodePropertyList(written);
    if (!second || kiv::encodePropertyList(*second) != written) {
        std::abort();
    }
    return 0;
}
