#include "KivxLanguage/KivxWords.h"

#include <algorithm>
#include <array>

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

#if defined(KIV_SSE2)

__m128i sixteenAt(const char* text) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text)); }

/// A text of up to 15 characters with zeros behind it.
__m128i shortText(std::string_view text) {
    const kiv::TextEnds ends(text);
    return _mm_set_epi64x(static_cast<std::int64_t>(ends.last()), static_cast<std::int64_t>(ends.first()));
}

/// Reads sixteen characters at once and drops the first `skipped` of them.
void addSixteen(Masks& masks, __m128i characters, unsigned skipped, std::size_t at) {
    const auto are = [](__m128i lanes, char wanted) { return _mm_cmpeq_epi8(lanes, _mm_set1_epi8(wanted)); };
    const auto any = [](auto... lanes) {
        __m128i all = _mm_setzero_si128();
        ((all = _mm_or_si128(all, lanes)), ...);
        return all;
    };
    const auto bits = [=](__m128i lanes) {
        return static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(lanes)) >> skipped) << at;
    };
    // '(' and ')' differ in their lowest bit alone; '[' and '{' in the bit 0x20, and so do ']' and '}'.
    const __m128i parentheses = are(any(characters, _mm_set1_epi8(1)), ')');
    const __m128i folded = any(characters, _mm_set1_epi8(0x20));
    masks.separators |=
        bits(any(parentheses, are(characters, ','), are(characters, ' '), are(characters, ':'),
                 are(characters, '\t'), are(characters, '\n'), are(characters, '\r')));
    masks.quotes |= bits(are(characters, '"'));
    if (_mm_movemask_epi8(any(are(folded, '{'), are(folded, '}'), are(characters, '\\'))) != 0) {
        masks.opening |= bits(are(characters, '['));
        masks.closing |= bits(are(characters, ']'));
        masks.braces |= bits(any(are(characters, '{'), are(characters, '}')));
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
                   isShort ? 0 : static_cast<unsigned>(skipped), at);
    }
    return masks;
}

#else

/// The masks of up to 64 characters from `from` on.
Masks masksOf(std::string_view text, std::size_t from) {
    enum : std::uint8_t { separator = 1, quote = 2, opening = 4, closing = 8, brace = 16, backslash = 32 };
    static constexpr auto kinds = [] {
        std::array<std::uint8_t, 256> all{};
        for (const char character : KivxSeparators) {
            all[static_cast<unsigned char>(character)] = separator;
        }
        all['"'] = quote;
        all['['] = opening;
        all[']'] = closing;
        all['{'] = all['}'] = brace;
        all['\\'] = backslash;
        return all;
    }();
    Masks masks;
    const std::string_view block = text.substr(from, 64);
    for (std::size_t i = 0; i < block.size(); ++i) {
        const std::uint64_t kind = kinds[static_cast<unsigned char>(block[i])];
        masks.separators |= (kind & 1U) << i;
        masks.quotes |= (kind >> 1U & 1U) << i;
        masks.opening |= (kind >> 2U & 1U) << i;
        masks.closing |= (kind >> 3U & 1U) << i;
        masks.braces |= (kind >> 4U & 1U) << i;
        masks.backslashes |= (kind >> 5U & 1U) << i;
    }
    return masks;
}

#endif

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
    if (expression.size() > longest) {
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
