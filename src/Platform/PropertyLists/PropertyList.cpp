#include "Platform/PropertyLists/PropertyList.h"

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <utility>

#include <locale.h>
#include <plist/plist.h>
#include <zlib.h>

#include "Platform/PropertyLists/PropertyListGuard.h"
#include "Platform/PropertyLists/PropertyListXmlReader.h"
#include "Platform/System/Files.h"
#include "Platform/Text/Text.h"

namespace kiv {
namespace {

struct NodeFreer {
    void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeFreer>;

struct MemoryFreer {
    void operator()(void* memory) const { std::free(memory); }
};
template <class T>
using Allocated = std::unique_ptr<T, MemoryFreer>;

// The trailer of a binary list begins with five bytes that have no meaning. The seal is a mark and the
// CRC-32, most significant byte first, of the whole list with these five bytes zero.
constexpr std::size_t trailerSize = 32;
constexpr std::size_t sealSize = 5;
constexpr char sealMark = 1;
constexpr std::string_view noSeal("\0\0\0\0\0", sealSize);

std::string sealOf(std::string_view list) {
    const std::size_t at = list.size() - trailerSize;
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
    const std::string_view seal = list.substr(list.size() - trailerSize, sealSize);
    return seal == noSeal || seal == sealOf(list);
}

Node parseXml(const std::string& xml) {
    plist_t node = nullptr;
    plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &node);
    return Node(node);
}

/// An integer beyond the signed range needs the 16-byte form, which libplist makes only when it reads one.
Node unsignedNode(std::uint64_t value) {
    return parseXml("<plist><integer>" + std::to_string(value) + "</integer></plist>");
}

/// Whether an integer above the signed range has the 16-byte form, which is unsigned, rather than the 8-byte
/// form, which is negative. Only a comparison tells.
bool isUnsigned(plist_t node, std::uint64_t value) {
    const Node negative(plist_new_uint(value));
    return plist_compare_node_value(node, negative.get()) == 0;
}

Node textNode(std::string_view text) { return Node(plist_new_string(repairUtf8(text).c_str())); }

/// Nulls have no form, and a text would end at its first zero byte and be another one.
bool hasForm(const json::value& value) {
    const json::string* text = value.if_string();
    return !value.is_null() && (!text || text->find('\0') == json::string::npos);
}

/// Null when the value nests too deep.
Node nodeOf(const json::value& value, std::size_t depth);

Node nodeOf(const json::array& array, std::size_t depth) {
    Node result(plist_new_array());
    for (const json::value& element : array) {
        if (hasForm(element)) {
            Node node = nodeOf(element, depth);
            if (!node) {
                return nullptr;
            }
            plist_array_append_item(result.get(), node.release());
        }
    }
    return result;
}

Node nodeOf(const json::object& object, std::size_t depth) {
    Node result(plist_new_dict());
    for (const json::key_value_pair& pair : object) {
        if (hasForm(pair.value()) && pair.key().find('\0') == json::string_view::npos) {
            Node node = nodeOf(pair.value(), depth);
            if (!node) {
                return nullptr;
            }
            plist_dict_set_item(result.get(), repairUtf8(pair.key()).c_str(), node.release());
        }
    }
    return result;
}

Node nodeOf(const json::value& value, std::size_t depth) {
    switch (value.kind()) {
    case json::kind::bool_:
        return Node(plist_new_bool(value.get_bool() ? 1 : 0));
    case json::kind::int64:
        return Node(plist_new_uint(static_cast<std::uint64_t>(value.get_int64())));
    case json::kind::uint64:
        return value.get_uint64() > INT64_MAX ? unsignedNode(value.get_uint64())
                                              : Node(plist_new_uint(value.get_uint64()));
    case json::kind::double_:
        return Node(plist_new_real(value.get_double()));
    case json::kind::string:
        return textNode(value.get_string());
    case json::kind::array:
        return depth < propertyListDepth ? nodeOf(value.get_array(), depth + 1) : nullptr;
    case json::kind::object:
        return depth < propertyListDepth ? nodeOf(value.get_object(), depth + 1) : nullptr;
    case json::kind::null:
        break;
    }
    return nullptr;
}

std::string textOf(plist_t node) {
    std::uint64_t length = 0;
    const char* const text = plist_get_string_ptr(node, &length);
    return text ? repairUtf8({text, static_cast<std::size_t>(length)}) : std::string();
}

json::value integerOf(plist_t node) {
    std::uint64_t value = 0;
    plist_get_uint_val(node, &value);
    if (value > INT64_MAX && isUnsigned(node, value)) {
        return value;
    }
    return static_cast<std::int64_t>(value);
}

/// Nothing for a kind that JSON lacks.
std::optional<json::value> valueOf(plist_t node);

json::array arrayOf(plist_t node) {
    json::array array;
    plist_array_iter made = nullptr;
    plist_array_new_iter(node, &made);
    const Allocated<void> iterator(made);
    plist_t element = nullptr;
    for (plist_array_next_item(node, iterator.get(), &element); element;
         plist_array_next_item(node, iterator.get(), &element)) {
        if (auto value = valueOf(element)) {
            array.push_back(std::move(*value));
        }
    }
    return array;
}

json::object objectOf(plist_t node) {
    json::object object;
    plist_dict_iter made = nullptr;
    plist_dict_new_iter(node, &made);
    const Allocated<void> iterator(made);
    for (;;) {
        char* text = nullptr;
        plist_t member = nullptr;
        plist_dict_next_item(node, iterator.get(), &text, &member);
        const Allocated<char> key(text);
        if (!member || !key) {
            return object;
        }
        if (auto value = valueOf(member)) {
            object.insert_or_assign(repairUtf8(key.get()), std::move(*value));
        }
    }
}

std::optional<json::value> valueOf(plist_t node) {
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        std::uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return json::value(value != 0);
    }
    case PLIST_UINT:
        return integerOf(node);
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return json::value(value);
    }
    case PLIST_STRING:
        return json::value(textOf(node));
    case PLIST_ARRAY:
        return json::value(arrayOf(node));
    case PLIST_DICT:
        return json::value(objectOf(node));
    default:
        return std::nullopt;
    }
}

std::optional<json::value> readBinaryPropertyList(std::string_view bytes) {
    plist_t node = nullptr;
    if (isSafeBinaryPropertyList(bytes) && isUndamaged(bytes)) {
        plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &node);
    }
    const Node top(node);
    return top ? valueOf(top.get()) : std::nullopt;
}

} // namespace

bool hasPropertyListForm(std::string_view text) { return text.find('\0') == text.npos && isValidUtf8(text); }

std::string encodePropertyList(const json::object& dictionary) {
    const Node node = nodeOf(dictionary, 1);
    char* made = nullptr;
    std::uint32_t size = 0;
    if (node) {
        plist_to_bin(node.get(), &made, &size);
    }
    const Allocated<char> bytes(made);
    std::string list(bytes.get() ? bytes.get() : "", size);
    if (!isSafeBinaryPropertyList(list)) {
        return {};
    }
    return list.replace(list.size() - trailerSize, sealSize, sealOf(list));
}

std::optional<json::value> decodeAnyPropertyList(std::string_view bytes) {
    if (bytes.size() > propertyListMemory) {
        return std::nullopt;
    }
    return bytes.starts_with("bplist") ? readBinaryPropertyList(bytes) : readXmlPropertyList(bytes);
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
