#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Json.h"

/// Property lists on disk, as the library's archives: binary, one dictionary at the top.
///
/// They carry texts, 64-bit integers, booleans, doubles, arrays and dictionaries (JSON's kinds without null). A written
/// list is sealed with a checksum in the unused bytes of its trailer, which other tools ignore; a sealed list whose
/// bytes have changed is damaged. Lists of other tools, binary or XML, are read when they are well formed.
namespace kiv {

/// The binary form. Nulls and texts with a zero byte have no form: null members are dropped, a text ends at its zero.
std::string encodePropertyList(const json::object& dictionary);

/// Nothing when the bytes are damaged, hold no dictionary at the top, nest deeper than 1,000 or expand to more than
/// a few times their size. Values of kinds that JSON lacks (dates, data) are dropped.
std::optional<json::object> decodePropertyList(std::string_view bytes);

std::optional<json::object> readPropertyList(const std::string& path);
bool writePropertyList(const std::string& path, const json::object& dictionary);

} // namespace kiv
