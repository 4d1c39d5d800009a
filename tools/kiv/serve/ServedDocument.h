#pragma once

#include <map>
#include <string>
#include <vector>

#include "Platform/Text/Json.h"
#include "config/DocumentLint.h"
#include "config/PayloadFolder.h"

namespace kiv::tool {

/// The document of a key, and what lint says of its file.
struct ServedDocument {
    Envelope envelope;                   ///< null while no version of the file could be served
    std::vector<Finding> servedFindings; ///< about the version that is served: warnings
    std::vector<Finding> findings;       ///< about the file as it is now
    bool isRefused = false; ///< the file as it is now has errors; an earlier version is served, if any

    /// The payload that is served; empty when there is none.
    json::object payload() const;
    /// When the payload was signed, as a date's text; empty when there is none.
    std::string date() const;
};

/// For each flag of the payload, a digest of the experiment that decides it.
std::map<std::string, std::string> deciderDigests(const json::object& payload);

} // namespace kiv::tool
