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

/// How many users get each outcome of a flag.
struct Split {
    std::string config;
    Place experiment;
    std::string flag;
    std::string property; ///< name of the property that holds the ids
    std::size_t users = 0;
    std::vector<Share> shares = {};          ///< values before defaults, the most frequent first
    std::string obstacle = {};               ///< `ExpectedShares::obstacle`
    std::string circle = {};                 ///< `ExpectedShares::circle`
    bool isRead = false;                     ///< at least one evaluation read the property
    std::vector<std::string> asked = {};     ///< the properties that are read, when this one is not
    std::optional<std::string> keyedBy = {}; ///< the property that tells the experiment's users apart
    std::string firstFailing = {};           ///< id of the first user whose evaluation failed

    double partOf(std::size_t count) const { return static_cast<double>(count) / static_cast<double>(users); }
};

/// Prints a split for a person.
void printSplit(const Split& split);

} // namespace kiv::tool
