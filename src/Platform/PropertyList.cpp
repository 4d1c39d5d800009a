#include "Platform/PropertyList.h"

#include <array>
#include <cstdint>
#include <limits>
#include <memory>

#include <plist/plist.h>
#include <zlib.h>

#include "Platform/BinaryPropertyListGuard.h"
#include "Platform/Files.h"
#include "Platform/Text.h"

namespace kiv {

namespace {

constexpr unsigned maxDepth = 500;
constexpr std::size_t trailerSize = 32;
constexpr std::size_t sealSize = 5; ///< a mark and a checksum, in bytes of the trailer that are otherwise zero
constexpr char sealMark = 1;

struct NodeFreer {
    void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeFreer>;

// ---- writing

Node nodeOf(const json::value& value) {
    switch (value.kind()) {
    case json::kind::null:
        return nullptr;
    case json::kind::bool_:
        return Node(plist_new_bool(value.get_bool()));
    case json::kind::int64:
        return Node(plist_new_uint(static_cast<std::uint64_t>(value.get_int64())));
    case json::kind::uint64:
        return Node(plist_new_uint(value.get_uint64()));
    case json::kind::double_:
        return Node(plist_new_real(value.get_double()));
    case json::kind::string:
        return Node(plist_new_string(repairUtf8(value.get_string()).c_str()));
    case json::kind::array: {
        Node array(plist_new_array());
        for (const json::value& element : value.get_array()) {
            if (Node node = nodeOf(element)) {
                plist_array_append_item(array.get(), node.release());
            }
        }
        return array;
    }
    case json::kind::object: {
        Node dictionary(plist_new_dict());
        for (const auto& member : value.get_object()) {
            if (Node node = nodeOf(member.value())) {
                plist_dict_set_item(dictionary.get(), repairUtf8(member.key()).c_str(), node.release());
            }
        }
        return dictionary;
    }
    }
    return nullptr;
}

/// The checksum of a list, as if it had no seal.
std::array<char, sealSize> sealOf(std::string_view bytes) {
    const auto update = [](uLong sum, std::string_view part) {
        return crc32_z(sum, reinterpret_cast<const Bytef*>(part.data()), part.size());
    };
    const std::size_t trailer = bytes.size() - trailerSize;
    uLong sum = update(crc32_z(0, nullptr, 0), bytes.substr(0, trailer));
    sum = update(sum, std::string_view("\0\0\0\0\0", sealSize));
    sum = update(sum, bytes.substr(trailer + sealSize));
    return {sealMark, static_cast<char>(sum >> 24), static_cast<char>(sum >> 16), static_cast<char>(sum >> 8),
            static_cast<char>(sum)};
}

// ---- reading

bool isDamaged(std::string_view bytes) {
    const std::string_view seal = bytes.substr(bytes.size() - trailerSize, sealSize);
    if (seal == std::string_view("\0\0\0\0\0", sealSize)) {
        return false; // written by another tool
    }
    const auto expected = sealOf(bytes);
    return seal != std::string_view(expected.data(), expected.size());
}

/// Counts what opens and closes; entities of the document's own are refused as they multiply.
bool isSafeXml(std::string_view text) {
    if (text.find("<!ENTITY") != std::string_view::npos) {
        return false;
    }
    unsigned depth = 0;
    for (std::size_t at = text.find('<'); at != std::string_view::npos; at = text.find('<', at + 1)) {
        const std::string_view tag = text.substr(at + 1);
        if (tag.starts_with("dict") || tag.starts_with("array")) {
            if (++depth > maxDepth) {
                return false;
            }
        } else if (depth > 0 && (tag.starts_with("/dict") || tag.starts_with("/array"))) {
            --depth;
        }
    }
    return true;
}

json::value valueOf(plist_t node);

json::value numberOf(plist_t node) {
    std::uint64_t bits = 0;
    plist_get_uint_val(node, &bits);
    // The kind of integer is not told: those beyond 63 bits are told apart by how the list writes them.
    char* xml = nullptr;
    std::uint32_t length = 0;
    if (bits > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        plist_to_xml(node, &xml, &length);
        const std::string_view text = xml ? std::string_view(xml, length) : std::string_view();
        const bool negative = text.find("<integer>-") != std::string_view::npos;
        plist_to_xml_free(xml);
        return negative ? json::value(static_cast<std::int64_t>(bits)) : json::value(bits);
    }
    return json::value(static_cast<std::int64_t>(bits));
}

json::value dictionaryOf(plist_t node) {
    json::object members;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    char* key = nullptr;
    plist_t item = nullptr;
    for (plist_dict_next_item(node, iterator, &key, &item); item; plist_dict_next_item(node, iterator, &key, &item)) {
        if (json::value value = valueOf(item); !value.is_null()) {
            members[key ? key : ""] = std::move(value);
        }
        std::free(key);
        key = nullptr;
    }
    std::free(iterator);
    return members;
}

json::value arrayOf(plist_t node) {
    json::array elements;
    plist_array_iter iterator = nullptr;
    plist_array_new_iter(node, &iterator);
    plist_t item = nullptr;
    for (plist_array_next_item(node, iterator, &item); item; plist_array_next_item(node, iterator, &item)) {
        if (json::value value = valueOf(item); !value.is_null()) {
            elements.push_back(std::move(value));
        }
    }
    std::free(iterator);
    return elements;
}

/// Null for kinds that JSON does not have.
json::value valueOf(plist_t node) {
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        std::uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return value != 0;
    }
    case PLIST_UINT:
        return numberOf(node);
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return value;
    }
    case PLIST_STRING: {
        std::uint64_t length = 0;
        const char* text = plist_get_string_ptr(node, &length);
        return json::value(repairUtf8(std::string_view(text, length)));
    }
    case PLIST_ARRAY:
        return arrayOf(node);
    case PLIST_DICT:
        return dictionaryOf(node);
    default:
        return nullptr;
    }
}

} // namespace

std::string encodePropertyList(const json::object& dictionary) {
    const Node node = nodeOf(json::value(dictionary));
    char* encoded = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(node.get(), &encoded, &length);
    std::string bytes(encoded ? std::string_view(encoded, length) : std::string_view());
    plist_to_bin_free(encoded);
    if (bytes.size() > trailerSize) {
        const auto seal = sealOf(bytes);
        bytes.replace(bytes.size() - trailerSize, sealSize, seal.data(), seal.size());
    }
    return bytes;
}

std::optional<json::object> decodePropertyList(std::string_view bytes) {
    const bool binary = bytes.starts_with("bplist");
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max() ||
        (binary ? !isSafeBinaryPropertyList(bytes, maxDepth) || isDamaged(bytes) : !isSafeXml(bytes))) {
        return std::nullopt;
    }
    plist_t parsed = nullptr;
    if (binary) {
        plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &parsed);
    } else if (!bytes.empty()) {
        plist_from_xml(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &parsed);
    }
    const Node node(parsed);
    if (!node || plist_get_node_type(node.get()) != PLIST_DICT) {
        return std::nullopt;
    }
    return std::move(dictionaryOf(node.get()).as_object());
}

std::optional<json::object> readPropertyList(const std::string& path) {
    const auto bytes = readFile(path, 128U << 20);
    return bytes ? decodePropertyList(*bytes) : std::nullopt;
}

bool writePropertyList(const std::string& path, const json::object& dictionary) {
    const std::string bytes = encodePropertyList(dictionary);
    return !bytes.empty() && writeFile(path, bytes);
}

} // namespace kiv
