#pragma once

#include <optional>
#include <string>

#include "Command.h"
#include "config/ConfigDocument.h"

namespace kiv::tool {

/// Something about a document that its author should know.
struct Finding {
    bool isError;
    Place place;
    std::optional<Spot> spot; ///< the part of a text that the message is about, if any
    std::string message;
    std::string advice; ///< may be empty

    /// Line and column of the spot, for a message; empty without a spot.
    std::string positionText() const;

    /// The whole finding as one printable line, without a line break. `path` is the document's.
    std::string line(const std::string& path) const;
};

} // namespace kiv::tool
