#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Text/Json.h"

/// Property lists on disk: as the library's archives, binary, with one dictionary at the top; or in XML, with
/// a dictionary, array or text at the top.
///
/// They carry texts, 64-bit integers, booleans, doubles, arrays and dictionaries (JSON's kinds without null).
/// A written binary list is sealed with a checksum in the unused bytes of its trailer, which other tools
/// ignore; a sealed list whose bytes have changed is damaged. Lists of other tools, binary or XML, are read
/// when they are well formed.
namespace kiv {

/// The binary form. Nulls, and texts and keys with a zero byte, have no form and are dropped with their
/// member, from arrays too; what of a text is not UTF-8 is replaced. Empty when the result could not be read
/// back: when arrays and dictionaries nest deeper than 500, or the values are beyond what
/// decodePropertyList accepts.
std::string encodePropertyList(const json::object& dictionary);

/// Whether a text or key comes back from a binary list as it went in: it is UTF-8 without a zero byte.
bool hasPropertyListForm(std::string_view text);

/// Nothing when the bytes are damaged, nest deeper than 500, or would take more than 256 MiB in memory (a
/// shared value counts as often as it is referred to). Values of kinds that JSON lacks (dates, data) are
/// dropped; one at the top is nothing.
std::optional<json::value> decodeAnyPropertyList(std::string_view bytes);

/// Nothing also when there is no dictionary at the top.
std::optional<json::object> decodePropertyList(std::string_view bytes);

/// Nothing also when there is no such file.
std::optional<json::object> readPropertyList(const std::string& path);
/// Writes the binary form as writeFile does. False also when it has none.
bool writePropertyList(const std::string& path, const json::object& dictionary);

} // namespace kiv
