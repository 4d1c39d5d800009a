#pragma once

#include <string_view>
#include <variant>
#include <vector>

#include <kiv/KivxValue.h>

#include "split/UserRegion.h"

namespace kiv::tool {

struct Failure {};
struct Unknown {};

/// The value of an expression for the users of a region: a value, a text with the id in it, a failure, or not
/// known.
using Meaning = std::variant<KivxValue, IdText, Failure, Unknown>;

struct Piece {
    Region region;
    Meaning meaning;
};
/// All users; each is in exactly one piece.
using Pieces = std::vector<Piece>;

/// The result of `ifThen`, whose condition is a value.
Meaning chosen(const std::vector<Meaning>& arguments);

/// The result of joining two meanings, of which at least one contains the id and none is a failure or
/// unknown. With `needsValues` it is undefined when one is undefined.
Meaning joinedMeaning(const std::vector<Meaning>& arguments, std::string_view between, bool needsValues);

/// The value of an expression, in which another value is left over: a failure where the other one fails.
Pieces failingWith(Pieces value, const Pieces& leftOver);

} // namespace kiv::tool
