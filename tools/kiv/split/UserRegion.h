#pragma once

#include <compare>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kiv::tool {

/// A text that contains the user's id: the parts, with the id between each two.
struct IdText {
    std::vector<std::string> parts;

    auto operator<=>(const IdText&) const = default;
};

/// `first`, `between` and `second`, one after the other.
IdText joined(IdText first, std::string_view between, const IdText& second);

/// The part of the text that counts in a seed: everything before its first zero byte.
IdText asSeed(IdText text);

/// Buckets from `from` up to, not including, `to`.
struct Interval {
    double from = 0;
    double to = 1;
};

/// The users whose bucket of each seed in the map lies in the interval of that seed.
using Region = std::map<IdText, Interval>;

/// The users who are in both regions; nothing when there are none.
std::optional<Region> intersection(const Region& a, const Region& b);

/// The region's part of all users, 0 to 1.
double shareOf(const Region& region);

} // namespace kiv::tool
