#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Text/Json.h"

namespace kiv::tool {

/// Parses a JSON object that stands in `text`; its nulls are left out. Throws `BadInput` with the place of
/// the mistake; `name` (may be empty) says there what the text is.
json::object parseObject(std::string_view text, const std::string& name);

/// True for an object that carries its payload, or is meant to, and is no payload itself.
bool isEnvelope(const json::object& document);

/// A configuration document from a file: an envelope, or a payload that has none.
struct ConfigDocument {
    /// Throws `BadInput` when there is no payload to be had.
    explicit ConfigDocument(const std::string& path);

    std::string path;
    std::optional<json::object> envelope;
    json::object payload; ///< without nulls, as the library reads it
};

/// An element of "experiments" or "targetGroups", as the messages name it.
struct Place {
    enum class Kind { document, experiment, targetGroup };

    Kind kind = Kind::document;
    std::size_t index = 0; ///< from 1
    std::string name = {}; ///< of the experiment, or identifier of the group; may be empty

    /// For example: experiment 3 "Express checkout".
    std::string text() const;
};

/// A payload's experiments and target groups, unchecked; empty when the payload has no array of them.
const json::array& experimentsOf(const json::object& payload);
const json::array& targetGroupsOf(const json::object& payload);

Place experimentPlace(std::size_t index, const json::value& experiment);
Place targetGroupPlace(std::size_t index, const json::value& group);

/// Which experiment decides each flag, by its index from 0: the last one that names the flag and has a
/// condition.
std::map<std::string_view, std::size_t> deciders(const json::object& payload);

/// The experiment that decides the flag, by its index from 0. Throws `BadInput` that says why when none does.
std::size_t deciderOf(const ConfigDocument& document, const std::string& flag);

/// An experiment's condition; null when it has none, and so is skipped.
const json::string* conditionOf(const json::value& experiment);

/// The flags that an experiment names, in the document's order.
std::vector<std::string_view> flagsOf(const json::value& experiment);

} // namespace kiv::tool
