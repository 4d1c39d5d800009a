#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Text/Json.h"

namespace kiv::tool {

/// Parses `text`, which must be a JSON object, and removes its nulls. Throws `BadInput` with the position of
/// the mistake; the message begins with `name`, which may be empty.
json::object parseObject(std::string_view text, const std::string& name);

/// Whether the object has a member that only envelopes have. It need not be a valid envelope.
bool isEnvelope(const json::object& document);

/// A configuration document from a file: an envelope with its payload, or a payload alone.
struct ConfigDocument {
    /// Reads the file, or standard input for "-". Throws `BadInput` when that gives no payload.
    explicit ConfigDocument(const std::string& path);

    /// Takes `text` for the content of the file.
    ConfigDocument(const std::string& path, std::string_view text);

    std::string path;
    std::optional<json::object> envelope; ///< nothing when the file holds a payload alone
    json::object payload;                 ///< without nulls, as the library reads it
};

/// What a message is about: an element of "experiments" or "targetGroups", or the whole document.
struct Place {
    enum class Kind { document, experiment, targetGroup };

    Kind kind = Kind::document;
    std::size_t index = 0; ///< from 1
    std::string name = {}; ///< the experiment's name, or the group's identifier; may be empty

    /// For example: experiment 3 "Express checkout". Empty for the whole document.
    std::string text() const;
};

/// A payload's experiments and target groups, unchecked; empty when the payload has no array of them.
const json::array& experimentsOf(const json::object& payload);
const json::array& targetGroupsOf(const json::object& payload);

Place experimentPlace(std::size_t index, const json::value& experiment);
Place targetGroupPlace(std::size_t index, const json::value& group);

/// For each flag, the index, from 0, of the experiment that decides it: the last one that names the flag and
/// has a condition.
std::map<std::string_view, std::size_t> deciders(const json::object& payload);

/// The index, from 0, of the experiment that decides the flag. When there is none, throws `BadInput` that
/// says why.
std::size_t deciderOf(const ConfigDocument& document, const std::string& flag);

/// The experiment's condition; null when it has none. Applications skip an experiment without a condition.
const json::string* conditionOf(const json::value& experiment);

/// The names of the experiment's flags, in the document's order.
std::vector<std::string_view> flagsOf(const json::value& experiment);

} // namespace kiv::tool
