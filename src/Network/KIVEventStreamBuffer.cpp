#include "Network/KIVEventStreamBuffer.h"

#include <algorithm>
#include <utility>

#include "Platform/Text/Text.h"

void KIVEventStreamBuffer::append(std::string_view bytes) {
    // Erases the consumed bytes only when they are more than half, so that erasing moves fewer bytes than it
    // frees.
    if (begin_ > bytes_.size() / 2) {
        bytes_.erase(0, begin_);
        searched_ -= begin_;
        begin_ = 0;
    }
    bytes_.append(bytes);
}

std::optional<std::string_view> KIVEventStreamBuffer::nextBlock() {
    constexpr std::string_view ending = "\n\n";
    const std::size_t end = bytes_.find(ending, searched_);
    if (end == bytes_.npos) {
        // The last byte may be the first half of an ending.
        searched_ = std::max(begin_, bytes_.empty() ? 0 : bytes_.size() - 1);
        return std::nullopt;
    }
    auto block = std::string_view(bytes_).substr(begin_, end - begin_);
    if (std::exchange(isAtStart_, false) && block.starts_with(kiv::byteOrderMark)) {
        block.remove_prefix(kiv::byteOrderMark.size());
    }
    begin_ = searched_ = end + ending.size();
    return block;
}

std::optional<KIVServerSentEvent> KIVEventStreamBuffer::nextEvent(std::optional<kiv::TransportError>& error) {
    const auto block = nextBlock();
    if (auto fields =
            block ? KIVServerSentEventFieldsFromString(kiv::repairUtf8(*block), &error) : std::nullopt) {
        return KIVServerSentEvent::eventWithFields(std::move(*fields));
    }
    if (!error && bytes_.size() - begin_ > KIVServerSentEvent_maxBytes) {
        error = KIVServerSentEventTooLarge();
    }
    return std::nullopt;
}
