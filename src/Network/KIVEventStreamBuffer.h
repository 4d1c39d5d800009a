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

    /// Takes the next event. nullopt when the event has not arrived whole, and when its block is empty; the
    /// next call then goes on after that block. nullopt with `error` set when the event is too large; only
    /// `clear` may follow.
    std::optional<KIVServerSentEvent> nextEvent(std::optional<kiv::TransportError>& error);

    void clear() { *this = {}; }

private:
    std::optional<std::string_view> nextBlock();

    std::string bytes_;
    std::size_t begin_ = 0;    ///< position of the first byte that is not consumed yet
    bool isAtStart_ = true;    ///< the next block may begin with a byte order mark
    std::size_t searched_ = 0; ///< no event ends before this position
};
