#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "Network/KIVEventStreamBuffer.h"

namespace {

using Events = std::vector<KIVServerSentEvent>;

bool same(const KIVServerSentEvent& a, const KIVServerSentEvent& b) {
    return a.event() == b.event() && a.identifier() == b.identifier() && a.data() == b.data() &&
           a.retry() == b.retry() && a.userInfo() == b.userInfo();
}

/// The events of a stream that arrives in pieces. Each byte of `lengths` is the length of a piece; the rest
/// of the stream is one piece more.
Events eventsOf(std::string_view stream, std::string_view lengths) {
    Events events;
    std::optional<kiv::TransportError> error;
    KIVEventStreamBuffer buffer;
    const auto receive = [&](std::string_view piece) {
        buffer.append(piece);
        while (auto event = buffer.nextEvent(error)) {
            events.push_back(std::move(*event));
        }
    };
    std::string_view rest = stream;
    for (const char length : lengths) {
        receive(rest.substr(0, static_cast<unsigned char>(length)));
        rest.remove_prefix(std::min<std::size_t>(rest.size(), static_cast<unsigned char>(length)));
    }
    receive(rest);
    // After an empty block the buffer gives no event before the next call of `append`.
    for (std::size_t blocks = stream.size() / 2; blocks > 0 && !error; --blocks) {
        receive("");
    }
    return events;
}

} // namespace

/// Takes the first eight bytes as lengths of pieces, and the other bytes as a stream. The events must be the
/// same however the stream is cut, and must read the same from their archives.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::string_view lengths = text.substr(0, std::min<std::size_t>(size, 8));
    const Events whole = eventsOf(text.substr(lengths.size()), "");
    const Events pieces = eventsOf(text.substr(lengths.size()), lengths);
    if (!std::equal(whole.begin(), whole.end(), pieces.begin(), pieces.end(), same)) {
        std::abort();
    }
    for (const auto& event : whole) {
        kiv::json::object archive;
        event.encodeWithCoder(archive);
        KIVServerSentEvent copy;
        copy.decodeWithCoder(archive);
        if (copy.event() != event.event() || copy.data() != event.data() || copy.retry() != event.retry()) {
            std::abort();
        }
    }
    return 0;
}
