#pragma once

#include <map>
#include <string>
#include <vector>

#include "Platform/Text/Json.h"

namespace kiv::tool {

/// A flag as an application's state reports it.
struct ReportedFlag {
    std::string defaultValue;
    std::vector<std::string> options; ///< the flag's variations; empty when it may have any value

    /// For a person: "on or off", "one of red, green", "text". A flag without variations whose default is a
    /// number is "a number or text", because the state does not tell which.
    std::string type() const;
};

/// The flags of a state's document, by name.
std::map<std::string, ReportedFlag> reportedFlags(const json::value& document);

} // namespace kiv::tool
