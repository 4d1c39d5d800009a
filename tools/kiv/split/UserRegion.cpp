#include "split/UserRegion.h"

#include <algorithm>

namespace kiv::tool {

std::optional<Region> intersection(const Region& a, const Region& b) {
    Region both = a;
    for (const auto& [seed, interval] : b) {
        Interval& own = both[seed];
        own = {std::max(own.from, interval.from), std::min(own.to, interval.to)};
        if (own.from >= own.to) {
            return {};
        }
    }
    return both;
}

double shareOf(const Region& region) {
    double share = 1;
    for (const auto& [seed, interval] : region) {
        share *= interval.to - interval.from;
    }
    return share;
}

IdText joined(IdText first, std::string_view between, const IdText& second) {
    first.parts.back().append(between).append(second.parts.front());
    first.parts.insert(first.parts.end(), second.parts.begin() + 1, second.parts.end());
    return first;
}

IdText asSeed(IdText text) {
    for (auto part = text.parts.begin(); part != text.parts.end(); ++part) {
        if (const std::size_t zero = part->find('\0'); zero != part->npos) {
            part->resize(zero);
            text.parts.erase(part + 1, text.parts.end());
            break;
        }
    }
    return text;
}

} // namespace kiv::tool
