#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/PropertyLists/PropertyListXmlWriter.h"

namespace {

std::string xmlOf(const kiv::json::value& value) {
    switch (value.kind()) {
    case kiv::json::kind::object:
        return kiv::encodeXmlPropertyList(value.get_object());
    case kiv::json::kind::array:
        return kiv::encodeXmlPropertyList(value.get_array());
    case kiv::json::kind::string:
        return kiv::encodeXmlPropertyList(std::string_view(value.get_string()));
    default:
        return {};
    }
}

/// Aborts unless the second and the third writing as XML give the same text. The first may differ: it
/// replaces characters that XML lacks, which can make two keys equal.
void checkXml(const kiv::json::value& value) {
    const std::string first = xmlOf(value);
    if (first.empty()) {
        return;
    }
    const std::string written = xmlOf(kiv::decodeAnyPropertyList(first).value());
    if (xmlOf(kiv::decodeAnyPropertyList(written).value()) != written) {
        std::abort();
    }
}

} // namespace

/// Reads the bytes as a property list. A list that can be read can be written, and reading and writing it
/// again gives the same bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (const auto any = kiv::decodeAnyPropertyList({reinterpret_cast<const char*>(data), size})) {
        checkXml(*any);
    }
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
