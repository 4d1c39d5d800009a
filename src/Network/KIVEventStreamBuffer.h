#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Network/KIVServerSentEvent.h"

/// What has come of an event stream and was not consumed yet. Bytes go in as they come, events come out
/// whole; a character may be cut in two on the way. Two line feeds, and nothing else, end an event.
class KIVEventStreamBuffer {
public:
    void append(std::string_view bytes);

    /// Takes the next event. Nothing when the next one is not whole, or has just proved to be an empty block,
    /// or when the stream has failed: `error` is then set, and nothing more is to be made of it.
    std::optional<KIVServerSentEvent> nextEvent(std::optional<kiv::TransportError>& error);

    void clear() { *this = {}; }

private:
    std::optional<std::string_view> nextBlock();

    std::string bytes_;
    std::size_t begin_ = 0;    ///< of what was not consumed
    std::size_t searched_ = 0; ///< no event ends before this
};
