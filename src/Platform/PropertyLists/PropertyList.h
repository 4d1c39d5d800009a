#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Text/Json.h"

/// Property lists on disk. The library's archives are binary, with a dictionary at the top; the analytics
/// files are XML (PropertyListXmlWriter.h), with a dictionary, an array or a text at the top. Both forms are
/// read.
///
/// Lists carry texts, 64-bit integers, booleans, doubles, arrays and dictionaries: the kinds of JSON without
/// null.
///
/// An archive is sealed: it holds a checksum in bytes of its trailer that other tools ignore. A sealed list
/// whose bytes have changed is damaged. Binary lists of other tools have no seal.
namespace kiv {

/// The dictionary as a sealed binary list. Drops nulls, and texts and keys with a zero byte; in a dictionary
/// the whole member goes. Bytes of a text that are not UTF-8 are replaced by U+FFFD. Empty when
/// decodePropertyList would refuse the list for its depth or its size in memory.
std::string encodePropertyList(const json::object& dictionary);

/// Whether a text or key comes back from encodePropertyList as it went in: it is UTF-8 without a zero byte.
bool hasPropertyListForm(std::string_view text);

/// The value at the top of a binary or XML list. Values of kinds that JSON lacks (dates, data) are dropped.
/// Nullopt when the value at the top is of a dropped kind, and when the bytes
/// - are no list, or a damaged one,
/// - nest arrays and dictionaries deeper than 1001,
/// - hold values that would take more than 256 MiB in memory,
/// - or hold 100,000 more values than bytes, by repeated references to the same arrays or dictionaries.
std::optional<json::value> decodeAnyPropertyList(std::string_view bytes);

/// Like decodeAnyPropertyList, for a list with a dictionary at the top. Nullopt also when another kind of
/// value is there.
std::optional<json::object> decodePropertyList(std::string_view bytes);

/// Reads the file and decodes it with decodePropertyList. Nullopt also when the file cannot be read.
std::optional<json::object> readPropertyList(const std::string& path);

/// Encodes the dictionary with encodePropertyList and writes the bytes with writeFile. False when
/// encodePropertyList returns no bytes, or when writing fails.
bool writePropertyList(const std::string& path, const json::object& dictionary);

} // namespace kiv
