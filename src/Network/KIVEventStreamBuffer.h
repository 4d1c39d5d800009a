#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Network/KIVServerSentEvent.h"

/// The bytes of an event stream that have arrived and are not consumed yet. Bytes go in as they arrive, even
/// if that cuts a character in two; events come out whole. Only two line feeds in a row end an event.
class KIVEventStreamBuffer {
public:
    void append(std::string_view bytes);

    /// Takes the next event. nullopt when it has not arrived whole, when its block is empty (the next call
    /// goes on behind it), and when it is too large: `error` is then set, and only `clear` may follow.
    std::optional<KIVServerSentEvent> nextEvent(std::optional<kiv::TransportError>& error);

    void clear() { *this = {}; }

private:
    std::optional<std::string_view> nextBlock();

    std::string bytes_;
    std::size_t begin_ = 0;    ///< where the bytes begin that are not consumed
    bool isAtStart_ = true;    ///< of the stream, where a byte order mark may stand
    std::size_t searched_ = 0; ///< no event ends before this position
};
