#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

/// A set of ASCII characters that separate tokens. It is made once and passed by pointer.
class KIVDelimiterSet {
public:
    explicit constexpr KIVDelimiterSet(std::string_view characters) {
        for (const char character : characters) {
            contains_[static_cast<unsigned char>(character)] = true;
        }
    }

    constexpr bool contains(char character) const { return contains_[static_cast<unsigned char>(character)]; }

private:
    std::array<bool, 256> contains_{};
};

/// A cursor that cuts a text at delimiters. The text and the sets are borrowed; tokens are parts of the text
/// and never empty.
class KIVStringTokenizer {
public:
    /// Starts at the beginning of the text. When `delimiters` is null there are no tokens. With
    /// `shouldReturnDelimiters` each delimiter is a token of its own; otherwise delimiters are skipped.
    KIVStringTokenizer(std::string_view text, const KIVDelimiterSet* delimiters, bool shouldReturnDelimiters)
        : text_(text), delimiters_(delimiters), returnDelimiters_(shouldReturnDelimiters) {}

    bool hasMoreTokens() const {
        if (!delimiters_ || position_ >= text_.size()) {
            return false;
        }
        return returnDelimiters_ || find(false, position_) < text_.size();
    }
    bool hasMoreElements() const { return hasMoreTokens(); }

    /// The next token; nothing when none is left.
    std::optional<std::string_view> nextToken() {
        if (!hasMoreTokens()) {
            return std::nullopt;
        }
        if (!returnDelimiters_) {
            position_ = find(false, position_);
        }
        return take();
    }
    std::optional<std::string_view> nextElement() { return nextToken(); }

    /// The next token; this call and later calls use the delimiters in `delimiters`.
    std::optional<std::string_view> nextToken(const KIVDelimiterSet* delimiters) {
        delimiters_ = delimiters;
        return nextToken();
    }

    /// Passes over characters of a set, and returns whether there were any.
    bool skip(const KIVDelimiterSet& characters) {
        const std::size_t start = position_;
        while (position_ < text_.size() && characters.contains(text_[position_])) {
            ++position_;
        }
        return position_ != start;
    }

    /// The number of tokens that are left.
    std::size_t countTokens() const {
        KIVStringTokenizer rest = *this;
        std::size_t count = 0;
        while (rest.nextToken()) {
            ++count;
        }
        return count;
    }

private:
    /// Returns the token at the cursor and moves behind it. There must be a token.
    std::string_view take() {
        const std::size_t start = position_;
        position_ = delimiters_->contains(text_[start]) ? start + 1 : find(true, start + 1);
        return {text_.data() + start, position_ - start};
    }

    /// The position of the first delimiter at or after `from`; with `delimiter` false, of the first other
    /// character. The size of the text when there is none.
    std::size_t find(bool delimiter, std::size_t from) const {
        const char* at = text_.data() + from;
        const char* const end = text_.data() + text_.size();
        const auto found = [&](std::ptrdiff_t ahead) {
            return delimiters_->contains(at[ahead]) == delimiter;
        };
        while (end - at >= 4) {
            if (found(0)) {
                return static_cast<std::size_t>(at - text_.data());
            }
            if (found(1)) {
                return static_cast<std::size_t>(at + 1 - text_.data());
            }
            if (found(2)) {
                return static_cast<std::size_t>(at + 2 - text_.data());
            }
            if (found(3)) {
                return static_cast<std::size_t>(at + 3 - text_.data());
            }
            at += 4;
        }
        while (at != end && delimiters_->contains(*at) != delimiter) {
            ++at;
        }
        return static_cast<std::size_t>(at - text_.data());
    }

    std::string_view text_;
    const KIVDelimiterSet* delimiters_;
    bool returnDelimiters_;
    std::size_t position_ = 0;
};
