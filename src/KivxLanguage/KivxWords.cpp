#include "KivxLanguage/KivxWords.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "KivxLanguage/KivxTokens.h"
#include "Platform/Text/ShortText.h"

#if defined(__SSE2__) && !defined(KIV_WITHOUT_SSE2)
#define KIV_SSE2
#include <emmintrin.h>
#endif

namespace {

/// A bit for each of up to 64 characters; the lowest is the first character's.
struct Masks {
    std::uint64_t separators = 0;
    std::uint64_t quotes = 0;
    std::uint64_t opening = 0; ///< brackets of arrays
    std::uint64_t closing = 0;
    std::uint64_t braces = 0;
    std::uint64_t backslashes = 0;
};

/// Sixteen characters. The compiler makes SSE2, NEON or plain code of what is done with them.
using Sixteen [[gnu::vector_size(16)]] = unsigned char;
using TwoWords [[gnu::vector_size(16)]] = std::uint64_t;

Sixteen sixteenAt(const char* text) {
    Sixteen characters;
    std::memcpy(&characters, text, sizeof characters);
    return characters;
}

/// A text of up to 15 characters with zeros behind it.
Sixteen shortText(std::string_view text) {
    const kiv::TextEnds ends(text);
    const TwoWords words = {ends.first(), ends.last()};
    return reinterpret_cast<Sixteen>(words);
}

/// A bit for each character; the characters are 0 or 0xFF.
std::uint64_t bitsOf(Sixteen characters) {
#if defined(KIV_SSE2)
    return static_cast<std::uint64_t>(_mm_movemask_epi8(reinterpret_cast<__m128i>(characters)));
#else
    const auto words = reinterpret_cast<TwoWords>(characters);
    // Leaves another bit of each byte, and adds the bytes up in the highest one.
    const auto gathered = [](std::uint64_t word) {
        return (word & 0x8040201008040201U) * 0x0101010101010101U >> 56U;
    };
    return gathered(words[0]) | gathered(words[1]) << 8U;
#endif
}

/// Adds sixteen characters to the masks, without the first `skipped` of them.
void addSixteen(Masks& masks, Sixteen characters, std::size_t skipped, std::size_t at) {
    const auto are = [](Sixteen all, unsigned char wanted) {
        return reinterpret_cast<Sixteen>(all == wanted);
    };
    const auto bits = [=](Sixteen lanes) { return bitsOf(lanes) >> skipped << at; };
    // '(' and ')' differ in their lowest bit alone; '[' and '{' in the bit 0x20, and so do ']' and '}'.
    masks.separators |=
        bits(are(characters | 1U, ')') | are(characters, ',') | are(characters, ' ') | are(characters, ':') |
             are(characters, '\t') | are(characters, '\n') | are(characters, '\r'));
    masks.quotes |= bits(are(characters, '"'));
    const Sixteen folded = characters | 0x20U;
    if (bitsOf(are(folded, '{') | are(folded, '}') | are(characters, '\\')) != 0) {
        masks.opening |= bits(are(characters, '['));
        masks.closing |= bits(are(characters, ']'));
        masks.braces |= bits(are(characters, '{') | are(characters, '}'));
        masks.backslashes |= bits(are(characters, '\\'));
    }
}

/// The masks of up to 64 characters from `from` on.
Masks masksOf(std::string_view text, std::size_t from) {
    Masks masks;
    const std::size_t count = std::min<std::size_t>(text.size() - from, 64);
    for (std::size_t at = 0; at < count; at += 16) {
        // At the end of the text these are its last sixteen characters, of which some were read already.
        const std::size_t skipped = at + 16 <= count ? 0 : at + 16 - count;
        const bool isShort = text.size() < 16;
        addSixteen(masks, isShort ? shortText(text) : sixteenAt(text.data() + from + at - skipped),
                   isShort ? 0 : skipped, at);
    }
    return masks;
}

/// Each bit says whether an odd number of bits is set up to it, itself included.
std::uint64_t parities(std::uint64_t bits) {
    for (unsigned shift = 1; shift < 64; shift *= 2) {
        bits ^= bits << shift;
    }
    return bits;
}

/// Whether opening and closing brackets take turns. `isOpen` says whether one is open, before and afterwards.
bool takeTurns(std::uint64_t opening, std::uint64_t closing, bool& isOpen) {
    for (std::uint64_t rest = opening | closing; rest != 0; rest &= rest - 1) {
        const bool opens = (opening & rest & -rest) != 0;
        if (opens == isOpen) {
            return false;
        }
        isOpen = opens;
    }
    return true;
}

} // namespace

bool KivxWords::cut(std::string_view expression) {
    // The first character is the lowest byte of a word.
    if (expression.size() > longest || std::endian::native != std::endian::little) {
        return false;
    }
    // What the last character of the block before was: a bit, and for a string all bits.
    std::uint64_t inString = 0;
    std::uint64_t wasWord = 0;
    std::uint64_t wasClosingQuote = 0;
    std::uint64_t wasBracket = 0;
    std::uint64_t wasBackslash = 0;
    bool isArrayOpen = false;
    bool hasBackslash = false;
    for (std::size_t from = 0; from <= expression.size(); from += 64) {
        const Masks masks = masksOf(expression, from);
        // The opening quotes belong to the strings, the closing ones do not.
        const std::uint64_t strings = masks.quotes == 0 ? inString : parities(masks.quotes) ^ inString;
        const std::uint64_t openingQuotes = masks.quotes & strings;
        const std::uint64_t closingQuotes = masks.quotes & ~strings;
        if ((masks.braces & ~strings) != 0 ||
            (openingQuotes & (closingQuotes << 1U | wasClosingQuote)) != 0 ||
            (masks.quotes & (masks.backslashes << 1U | wasBackslash)) != 0 ||
            !takeTurns(masks.opening & ~strings, masks.closing & ~strings, isArrayOpen)) {
            return false;
        }
        const std::uint64_t brackets = (masks.opening | masks.closing) & ~strings;
        const std::size_t left = expression.size() - from;
        const std::uint64_t inText = left >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << left) - 1;
        const std::uint64_t words = inText & ~(masks.separators | masks.quotes | brackets | strings);
        const std::uint64_t behindWords = words << 1U | wasWord;
        begins_[blocks_] = (words & ~behindWords) | openingQuotes | brackets;
        ends_[blocks_++] = (~words & behindWords) | closingQuotes | brackets << 1U | wasBracket;
        inString = std::uint64_t{0} - (strings >> 63U);
        wasWord = words >> 63U;
        wasClosingQuote = closingQuotes >> 63U;
        wasBracket = brackets >> 63U;
        wasBackslash = masks.backslashes >> 63U;
        hasBackslash |= masks.backslashes != 0;
    }
    return inString == 0 && !isArrayOpen &&
           !(hasBackslash && expression.find(KivxEscapedQuotePlaceholder) != expression.npos);
}
