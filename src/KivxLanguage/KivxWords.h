#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// Where the words, the strings and the brackets of arrays begin and end in an expression: the fast way to
/// cut it. A bit for each character says it, and the evaluation reads the bits from the last to the first.
///
/// It cuts nearly all expressions that people write, and leaves the others to `KivxTokenizedExpression`, with
/// which it agrees.
class KivxWords {
public:
    /// The longest expression that it cuts, in bytes.
    static constexpr std::size_t longest = 4096;

    /// Must be called once, and first. False when the expression is left to `KivxTokenizedExpression`: when
    /// it is too long, has an escaped quote, a dictionary, an array in an array or a bracket without its
    /// counterpart, two strings without anything between them, or a string without an end; and always on a
    /// big-endian machine.
    bool cut(std::string_view expression);

    /// Goes from the end of the expression to its beginning, word by word. A bracket is a word.
    class Cursor {
    public:
        /// Borrows both; the expression is the one that was cut.
        Cursor(const KivxWords& words, std::string_view expression)
            : begins_(words.begins_, words.blocks_), ends_(words.ends_, words.blocks_),
              expression_(expression.data()) {}

        /// Goes to the word before the present one, at first to the last word; false when there is none.
        bool toPrevious() {
            if (!begins_.find()) {
                return false;
            }
            ends_.find();
            begin_ = begins_.take();
            end_ = ends_.take();
            return true;
        }

        /// Of the word's first character; of a string's opening quote.
        std::size_t position() const { return begin_; }
        char first() const { return expression_[begin_]; }
        bool isString() const { return first() == '"'; }
        /// The word; a string without its quotes.
        std::string_view text() const {
            const std::size_t quote = isString() ? 1 : 0;
            return {expression_ + begin_ + quote, end_ - begin_ - quote};
        }

    private:
        /// The set bits of the blocks, from the last to the first.
        class Bits {
        public:
            Bits(const std::uint64_t* blocks, std::size_t count) : blocks_(blocks), block_(count) {}

            /// False when no bit is left.
            bool find() {
                while (rest_ == 0) {
                    if (block_ == 0) {
                        return false;
                    }
                    rest_ = blocks_[--block_];
                }
                return true;
            }
            /// The position of the bit that was found.
            std::size_t take() {
                const auto bit = static_cast<std::size_t>(std::bit_width(rest_)) - 1;
                rest_ ^= std::uint64_t{1} << bit;
                return block_ * 64 + bit;
            }

        private:
            const std::uint64_t* blocks_;
            std::size_t block_;
            std::uint64_t rest_ = 0;
        };

        Bits begins_;
        Bits ends_;
        const char* expression_;
        std::size_t begin_ = 0;
        std::size_t end_ = 0; ///< behind the word; for a string, at its closing quote
    };

private:
    // A word that ends with the longest text ends behind it.
    static constexpr std::size_t mostBlocks = longest / 64 + 1;

    std::size_t blocks_ = 0;
    std::uint64_t begins_[mostBlocks];
    std::uint64_t ends_[mostBlocks];
};
