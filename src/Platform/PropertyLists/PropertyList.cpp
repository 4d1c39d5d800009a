#include "Platform/PropertyLists/PropertyList.h"

#include <utility>

#include <zlib.h>

#include "Platform/PropertyLists/PropertyListBinary.h"
#include "Platform/PropertyLists/PropertyListBinaryReader.h"
#include "Platform/PropertyLists/PropertyListBinaryWriter.h"
#include "Platform/PropertyLists/PropertyListLimits.h"
#include "Platform/PropertyLists/PropertyListXmlReader.h"
#include "Platform/System/Files.h"
#include "Platform/Text/Text.h"

namespace kiv {
namespace {

// The trailer of a binary list begins with five bytes that have no meaning. The seal is a mark and the
// CRC-32, most significant byte first, of the whole list with these five bytes zero.
constexpr std::size_t sealSize = 5;
constexpr char sealMark = 1;
constexpr std::string_view noSeal("\0\0\0\0\0", sealSize);

std::string sealOf(std::string_view list) {
    const std::size_t at = list.size() - binaryListTrailerSize;
    uLong sum = crc32(0, nullptr, 0);
    for (const std::string_view part : {list.substr(0, at), noSeal, list.substr(at + sealSize)}) {
        sum = crc32_z(sum, reinterpret_cast<const Bytef*>(part.data()), part.size());
    }
    std::string seal(1, sealMark);
    for (unsigned shift = 32; shift > 0;) {
        shift -= 8;
        seal += static_cast<char>(sum >> shift & 0xFFU);
    }
    return seal;
}

bool isUndamaged(std::string_view list) {
    if (list.size() < binaryListTrailerSize) {
        return false;
    }
    const std::string_view seal = list.substr(list.size() - binaryListTrailerSize, sealSize);
    return seal == noSeal || seal == sealOf(list);
}

} // namespace

bool hasPropertyListForm(std::string_view text) { return text.find('\0') == text.npos && isValidUtf8(text); }

std::string encodePropertyList(const json::object& dictionary) {
    std::string list = writeBinaryPropertyList(dictionary);
    if (!list.empty()) {
        list.replace(list.size() - binaryListTrailerSize, sealSize, sealOf(list));
    }
    return list;
}

std::optional<json::value> decodeAnyPropertyList(std::string_view bytes) {
    if (bytes.size() > propertyListMemory) {
        return std::nullopt;
    }
    if (!bytes.starts_with(binaryListHeader)) {
        return readXmlPropertyList(bytes);
    }
    return isUndamaged(bytes) ? readBinaryPropertyList(bytes) : std::nullopt;
}

std::optional<json::object> decodePropertyList(std::string_view bytes) {
    std::optional<json::value> value = decodeAnyPropertyList(bytes);
    return value && value->is_object() ? std::optional(std::move(value->get_object())) : std::nullopt;
}

std::optional<json::object> readPropertyList(const std::string& path) {
    const std::optional<std::string> bytes = readFile(path, propertyListMemory);
    return bytes ? decodePropertyList(*bytes) : std::nullopt;
}

bool writePropertyList(const std::string& path, const json::object& dictionary) {
    const std::string bytes = encodePropertyList(dictionary);
    return !bytes.empty() && writeFile(path, bytes);
}

} // namespace kiv
