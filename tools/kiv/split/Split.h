#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "config/ConfigDocument.h"
#include "split/ExpectedShares.h"

namespace kiv::tool {

/// One outcome of a flag and the users who get it.
struct Share {
    FlagOutcome outcome;
    std::size_t count = 0;
    std::optional<double> expected = {};
};

/// How many of many users get each outcome of a flag.
struct Split {
    std::string config;
    Place experiment;
    std::string flag;
    std::string property; ///< holds the ids
    std::size_t users = 0;
    std::vector<Share> shares = {}; ///< values first, then the most frequent
    std::string obstacle = {};      ///< the operator for which there are no expected shares; may be empty
    bool isAsked = false;           ///< at least one evaluation asked for the property
    std::optional<std::string> keyedBy = {}; ///< what the experiment says of who its users are
    std::string firstFailing = {};           ///< the id of a user whose evaluation failed

    double partOf(std::size_t count) const { return static_cast<double>(count) / static_cast<double>(users); }
};

/// Lays a split out for a person.
void printSplit(const Split& split);

} // namespace kiv::tool
