#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kiv::tool {

/// What a path of the OpenFeature Remote Evaluation Protocol asks for. It is `/KEY/ofrep/v1/REST`, or
/// `/ofrep/v1/REST` without a key.
struct OfrepTarget {
    enum class Kind { flag, allFlags, events, nothing };

    Kind kind = Kind::nothing;
    std::string key;        ///< empty when the path has none
    std::string flag;       ///< for `flag`, decoded
    std::string eventsPath; ///< the path of the same key's event stream

    /// Nothing when the path is none of the protocol.
    static std::optional<OfrepTarget> from(std::string_view path);
};

/// The text with each "%" and two hexadecimal digits replaced by the byte that they stand for. Every other
/// "%" stays.
std::string percentDecoded(std::string_view text);

} // namespace kiv::tool
