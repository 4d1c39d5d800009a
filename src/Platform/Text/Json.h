#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/string.hpp>
#include <boost/json/value.hpp>

/// JSON documents. Integers stay integers (64 bits, signed or unsigned) and booleans stay booleans.
namespace kiv {

namespace json = boost::json;

/// The largest document that `parseJson` takes, in bytes.
inline constexpr std::size_t maxJsonBytes = std::size_t{64} << 20;

/// The deepest nesting of arrays and objects that `parseJson` takes.
inline constexpr std::size_t maxJsonDepth = 1000;

inline constexpr std::size_t anyNumberOfValues = std::numeric_limits<std::size_t>::max();

/// Parses a whole document, on the given storage. The top level must be an object or an array; trailing text,
/// "01", "5.", raw control characters, lone surrogates, malformed UTF-8, more than `maxJsonBytes` bytes, more
/// than `maxJsonDepth` levels, and more than `mostValues` values are errors; a key counts as a value. On an
/// error the result is empty and `error`, when given, says what is wrong and at which byte. What lies behind
/// that byte has taken no memory.
std::optional<json::value> parseJson(std::string_view text, std::string* error = nullptr,
                                     json::storage_ptr storage = {},
                                     std::size_t mostValues = anyNumberOfValues);

/// The document as text, indented by two spaces for each level, `"key" : value`, members in the document's
/// own order, without a line break at the end.
std::string prettyJson(const json::value& document);

/// False when the document holds infinite numbers or NaN: JSON lacks them, and the functions here write them
/// as null.
bool isJson(const json::value& document);

/// The document on one line, without spaces.
std::string compactJson(const json::value& document);

/// Whether the documents are equal. 1, 1.0 and true are equal numbers, compared exactly; the order of an
/// object's members does not count. Safe for any nesting that parseJson accepts.
bool equalJson(const json::value& a, const json::value& b);

/// The member, or null when there is none or `object` is no object.
const json::value* member(const json::value& object, std::string_view name);
const json::value* member(const json::object& object, std::string_view name);

/// The member as text, or null when there is none or it is no text.
const json::string* textMember(const json::value& object, std::string_view name);
const json::string* textMember(const json::object& object, std::string_view name);

/// The member as an array, or null when there is none or it is no array.
const json::array* arrayMember(const json::value& object, std::string_view name);
const json::array* arrayMember(const json::object& object, std::string_view name);

/// The member as an object, or null when there is none or it is no object.
const json::object* objectMember(const json::object& object, std::string_view name);

/// An estimate of the bytes that the value takes, in memory and as text: its texts and keys, and a fixed
/// number of bytes for each value. Nullopt when the value nests deeper than `maxDepth`.
std::optional<std::size_t> approximateSize(const json::value& value, std::size_t maxDepth);
std::optional<std::size_t> approximateSize(const json::object& object, std::size_t maxDepth);

} // namespace kiv
