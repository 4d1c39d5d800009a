#include "split/Meaning.h"

#include <algorithm>
#include <optional>
#include <utility>

#include <kiv/KIVException.h>

#include "evaluate/ValueText.h"

namespace kiv::tool {
namespace {

/// The text that `concat` and `mergeSeed` make of a value; nothing for a failure and an unknown value.
std::optional<IdText> joinable(const Meaning& meaning) {
    if (const auto* value = std::get_if<KivxValue>(&meaning)) {
        return IdText{{value->description()}};
    }
    const auto* text = std::get_if<IdText>(&meaning);
    return text ? std::optional<IdText>(*text) : std::nullopt;
}

bool hasValue(const Meaning& meaning) {
    return !std::holds_alternative<Failure>(meaning) && !std::holds_alternative<Unknown>(meaning);
}

} // namespace

Meaning chosen(const std::vector<Meaning>& arguments) {
    try {
        return arguments[holds(std::get<KivxValue>(arguments[0])) ? 1 : 2];
    } catch (const KIVException&) {
        return Failure();
    }
}

Meaning joinedMeaning(const std::vector<Meaning>& arguments, std::string_view between, bool needsValues) {
    for (const Meaning& argument : arguments) {
        const auto* value = std::get_if<KivxValue>(&argument);
        if (needsValues && value && value->isUndefined()) {
            return KivxValue::undefined();
        }
    }
    return joined(joinable(arguments[0]).value(), between, joinable(arguments[1]).value());
}

Pieces failingWith(Pieces value, const Pieces& leftOver) {
    if (std::ranges::all_of(leftOver, [](const Piece& piece) { return hasValue(piece.meaning); })) {
        return value;
    }
    Pieces result;
    for (const Piece& own : value) {
        for (const Piece& other : leftOver) {
            if (auto both = intersection(own.region, other.region)) {
                result.push_back({std::move(*both), hasValue(other.meaning) ? own.meaning : other.meaning});
            }
        }
    }
    return result;
}

} // namespace kiv::tool
