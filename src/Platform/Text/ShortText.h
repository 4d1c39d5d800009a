#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>

/// Hashes and compares texts without a function call: names are mostly short, and every read looks them up.
namespace kiv {

/// The first and the last bytes of a text, and its length. They determine a text of up to 16 bytes.
struct TextEnds {
    explicit TextEnds(std::string_view text) noexcept : size(text.size()) {
        const char* const begin = text.data();
        if (size >= 8) {
            head = bytesAt<std::uint64_t>(begin);
            tail = bytesAt<std::uint64_t>(begin + size - 8);
        } else if (size >= 4) {
            head = bytesAt<std::uint32_t>(begin);
            tail = bytesAt<std::uint32_t>(begin + size - 4);
        } else if (size > 0) {
            head = static_cast<std::uint8_t>(begin[0]);
            tail = bytesAt<std::uint8_t>(begin + size / 2) |
                   std::uint64_t{bytesAt<std::uint8_t>(begin + size - 1)} << 8U;
        }
    }

    bool areAll() const noexcept { return size <= 16; }

    /// The first and the last eight of sixteen bytes: those of a text of up to 15 bytes with zeros behind it.
    std::uint64_t first() const noexcept {
        if (size >= 8) {
            return head;
        }
        if (size >= 4) {
            return head | tail << (8 * (size - 4));
        }
        return size == 0 ? 0 : head | (tail & 0xFFU) << (8 * (size / 2)) | tail >> 8U << (8 * (size - 1));
    }
    std::uint64_t last() const noexcept { return size > 8 ? tail >> (8 * (16 - size)) : 0; }

    friend bool operator==(const TextEnds&, const TextEnds&) = default;

    std::uint64_t head = 0;
    std::uint64_t tail = 0;
    std::size_t size;

private:
    template <class Bytes>
    static Bytes bytesAt(const char* place) noexcept {
        Bytes bytes;
        std::memcpy(&bytes, place, sizeof bytes);
        return bytes;
    }
};

/// The lowest bits differ most: they are the highest of a product, which depend on all bits of the factors.
inline std::size_t hashOfEnds(const TextEnds& ends) noexcept {
    const std::uint64_t hash =
        ends.head * 0x9E3779B97F4A7C15U + ends.tail * 0xC2B2AE3D27D4EB4FU + ends.size * 0xD6E8FEB86659FD93U;
    return static_cast<std::size_t>(__builtin_bswap64(hash));
}

/// Long texts may have the same ends, so their hash is made from all bytes.
inline std::size_t hashOfText(std::string_view text) noexcept {
    const TextEnds ends(text);
    return ends.areAll() ? hashOfEnds(ends) : std::hash<std::string_view>()(text);
}

inline bool sameText(std::string_view a, std::string_view b) noexcept {
    if (a.size() != b.size()) {
        return false;
    }
    if (a.size() <= 16) {
        return TextEnds(a) == TextEnds(b);
    }
    if (a.size() > 32) {
        return a == b;
    }
    const std::size_t rest = a.size() - 16;
    return TextEnds({a.data(), 16}) == TextEnds({b.data(), 16}) &&
           TextEnds({a.data() + rest, 16}) == TextEnds({b.data() + rest, 16});
}

} // namespace kiv
