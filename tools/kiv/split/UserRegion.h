#pragma once

#include <compare>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kiv::tool {

/// A text that holds the user's id: these parts, with the id between each two.
struct IdText {
    std::vector<std::string> parts;

    auto operator<=>(const IdText&) const = default;
};

/// The first text, what stands between, and the second.
IdText joined(IdText first, std::string_view between, const IdText& second);

/// What of the text counts in a seed: all before its first zero byte.
IdText asSeed(IdText text);

struct Interval {
    double from = 0;
    double to = 1;
};

/// Users by the buckets of seeds; a seed that is not named has any bucket.
using Region = std::map<IdText, Interval>;

/// The users who are in both; nothing when there are none.
std::optional<Region> intersection(const Region& a, const Region& b);

/// The region's part of all users, 0 to 1.
double shareOf(const Region& region);

} // namespace kiv::tool
