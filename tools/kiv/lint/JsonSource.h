#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kiv::tool {

/// Finds where the values of a JSON text stand in it. The text must have been parsed before: what is
/// malformed is not reported, and gives positions without a meaning.
class JsonSource {
public:
    /// The text is borrowed.
    explicit JsonSource(std::string_view text) : text_(text) {}

    /// The byte at which the outermost value begins.
    std::size_t root() const;

    /// The byte at which the member's value begins; nothing when `object` is no object or has no such member.
    /// Of two members of one name the later one counts.
    std::optional<std::size_t> member(std::size_t object, std::string_view name) const;

    /// The bytes at which the elements begin. An element that is null has none here: the library drops it.
    std::vector<std::size_t> elements(std::size_t array) const;

    /// The content of the string that begins at `string`.
    std::string content(std::size_t string) const;

    /// Replaces each of the offsets, which are bytes of that content in ascending order, by the byte of this
    /// text that it is written at.
    void toBytes(std::size_t string, std::span<std::size_t> offsets) const;
    std::size_t byteOf(std::size_t string, std::size_t offset) const;

private:
    std::size_t skipSpace(std::size_t at) const;
    std::size_t skipString(std::size_t at) const;
    std::size_t skipValue(std::size_t at) const;
    bool isAt(std::size_t at, char c) const { return at < text_.size() && text_[at] == c; }

    std::string_view text_;
};

} // namespace kiv::tool
