#include "Terminal.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <sys/ioctl.h>
#include <unistd.h>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include "Platform/Text/Text.h"

namespace kiv::tool {
namespace {

/// A character as it is shown.
struct Cell {
    std::string text;
    std::size_t width;  ///< columns
    std::size_t offset; ///< bytes from the start of the original text
};

bool controlsTerminal(UChar32 character) {
    const auto category = static_cast<UCharCategory>(u_charType(character));
    return category == U_CONTROL_CHAR || category == U_FORMAT_CHAR || category == U_LINE_SEPARATOR ||
           category == U_PARAGRAPH_SEPARATOR;
}

std::size_t widthOf(UChar32 character) {
    const auto category = static_cast<UCharCategory>(u_charType(character));
    if (category == U_NON_SPACING_MARK || category == U_ENCLOSING_MARK) {
        return 0;
    }
    const int eastAsian = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
    return eastAsian == U_EA_WIDE || eastAsian == U_EA_FULLWIDTH ? 2 : 1;
}

std::vector<Cell> cellsOf(std::string_view text) {
    std::vector<Cell> cells;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t offset = at;
        const UChar32 character = nextCharacter(text, at);
        if (character < 0) {
            cells.push_back({"\xEF\xBF\xBD", 1, offset});
        } else if (controlsTerminal(character)) {
            std::array<char, 16> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(character));
            cells.push_back({escape.data(), std::string_view(escape.data()).size(), offset});
        } else {
            cells.push_back({std::string(text.substr(offset, at - offset)), widthOf(character), offset});
        }
    }
    return cells;
}

std::size_t widthOf(const std::vector<Cell>& cells) {
    std::size_t width = 0;
    for (const Cell& cell : cells) {
        width += cell.width;
    }
    return width;
}

/// The line that contains the spot, in two parts: what is before the spot, and what begins with it. At most
/// `reach` bytes of each part are kept.
std::pair<std::vector<Cell>, std::vector<Cell>> aroundSpot(const Spot& spot, std::size_t reach) {
    const std::string_view text = spot.text;
    const std::size_t position = std::min(spot.position, text.size());
    const std::size_t lineStart = text.substr(0, position).rfind('\n') + 1; // npos + 1 is the start
    const std::size_t lineEnd = std::min(text.find('\n', position), text.size());
    std::size_t from = position - lineStart > reach ? position - reach : lineStart;
    while (from > lineStart && U8_IS_TRAIL(text[from])) {
        --from;
    }
    return {cellsOf(onOneLine(text.substr(from, position - from))),
            cellsOf(onOneLine(text.substr(position, std::min(lineEnd - position, reach))))};
}

/// The word in pieces of at most `width` columns.
std::vector<std::string> broken(std::string_view word, std::size_t width) {
    std::vector<std::string> pieces(1);
    std::size_t used = 0;
    for (const Cell& cell : cellsOf(word)) {
        if (used + cell.width > width && used > 0) {
            pieces.emplace_back();
            used = 0;
        }
        pieces.back() += cell.text;
        used += cell.width;
    }
    return pieces;
}

} // namespace

std::string printable(std::string_view text) {
    std::string result;
    for (const Cell& cell : cellsOf(text)) {
        result += cell.text;
    }
    return result;
}

std::string onOneLine(std::string_view text) {
    std::string line(text);
    std::ranges::replace_if(
        line, [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
    return line;
}

std::string inQuotes(std::string_view text) {
    constexpr std::size_t longest = 40;
    constexpr std::size_t bytesOfLongest = 4 * longest + 4;
    std::string result = "\"";
    std::size_t shown = 0;
    for (const Cell& cell : cellsOf(text.substr(0, bytesOfLongest))) {
        if (shown++ == longest) {
            return result + "…\"";
        }
        result += cell.text;
    }
    return result + "\"";
}

std::string counted(std::size_t count, std::string_view noun) {
    return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

std::size_t displayWidth(std::string_view text) { return widthOf(cellsOf(text)); }

std::string padded(std::string_view text, std::size_t width) {
    const std::size_t own = displayWidth(text);
    return std::string(text) + std::string(own < width ? width - own : 0, ' ');
}

LineColumn lineColumn(std::string_view text, std::size_t position) {
    const std::string_view before = text.substr(0, position);
    const std::size_t lineStart = before.rfind('\n') + 1; // npos + 1 is the start
    const auto isCharacterStart = [](char c) { return !U8_IS_TRAIL(c); };
    const auto characters = std::ranges::count_if(before.substr(lineStart), isCharacterStart);
    return {static_cast<std::size_t>(std::ranges::count(before, '\n')) + 1,
            static_cast<std::size_t>(characters) + 1};
}

std::string positionText(const Spot& spot) {
    const LineColumn at = lineColumn(spot.text, spot.position);
    return (at.line > 1 ? "line " + std::to_string(at.line) + ", " : "") + "column " +
           std::to_string(at.column);
}

std::string messageText(const BadInput& problem) {
    return printable(problem.what()) + (problem.spot ? " — " + positionText(*problem.spot) : "");
}

Terminal Terminal::ofOutput() { return Terminal(STDOUT_FILENO); }
Terminal Terminal::ofErrors() { return Terminal(STDERR_FILENO); }

Terminal::Terminal(int descriptor) : isTerminal_(isatty(descriptor) == 1), width_(std::string::npos) {
    if (!isTerminal_) {
        return;
    }
    constexpr std::size_t usual = 80;
    constexpr std::size_t least = 40;
    winsize size{};
    width_ = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
    width_ = std::max(width_, least);
    const char* kind = std::getenv("TERM");
    colours_ = !std::getenv("NO_COLOR") && kind && std::string_view(kind) != "dumb";
}

std::string Terminal::styled(Style style, std::string_view text) const {
    if (!colours_) {
        return std::string(text);
    }
    constexpr std::array codes{"1", "2", "32", "33", "1;31"};
    return std::string("\x1b[") + codes.at(static_cast<std::size_t>(style)) + "m" + std::string(text) +
           "\x1b[0m";
}

std::string Terminal::wrapped(std::string_view text, std::size_t indent, std::size_t first) const {
    const std::string margin(indent, ' ');
    std::string result = first == std::string::npos ? margin : "";
    std::size_t used = first == std::string::npos ? indent : first;
    bool lineHasWord = false;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t space = std::min(text.find(' ', at), text.size());
        for (const std::string& piece :
             broken(text.substr(at, space - at), width_ - std::min(indent, width_ - 1))) {
            const std::size_t width = displayWidth(piece);
            if (lineHasWord && width > 0 && used + 1 + width > width_) {
                result += '\n' + margin;
                used = indent;
                lineHasWord = false;
            }
            result += (lineHasWord ? " " : "") + piece;
            used += width + (lineHasWord ? 1 : 0);
            lineHasWord = true;
        }
        at = space + 1;
    }
    return result;
}

std::string Terminal::field(std::string_view label, std::string_view text, std::size_t indent,
                            std::size_t labelWidth) const {
    const std::size_t column = indent + labelWidth;
    const std::string name = printable(label);
    const bool fits = displayWidth(name) < labelWidth;
    return std::string(indent, ' ') + styled(Style::quiet, padded(name, labelWidth)) +
           (fits ? "" : "\n" + std::string(column, ' ')) + wrapped(printable(text), column, column) + '\n';
}

std::string Terminal::excerpt(const Spot& spot, std::size_t indent, Style style) const {
    constexpr std::size_t widthOfFile = 110;
    const std::size_t room = std::min(width_, widthOfFile) - indent - 2;
    auto [before, after] = aroundSpot(spot, 4 * room);
    const std::size_t roomBefore = std::max(room / 2, room - std::min(room, widthOf(after)));
    std::string line;
    std::size_t widthBefore = widthOf(before);
    if (widthBefore > roomBefore) {
        auto kept = before.begin();
        for (; widthBefore > roomBefore; ++kept) {
            widthBefore -= kept->width;
        }
        before.erase(before.begin(), kept);
        line = "…";
        ++widthBefore;
    }
    for (const Cell& cell : before) {
        line += cell.text;
    }
    std::size_t used = widthBefore;
    std::size_t marked = 0;
    for (const Cell& cell : after) {
        if (used + cell.width > room + 1) {
            line += "…";
            break;
        }
        line += cell.text;
        used += cell.width;
        marked += cell.offset < spot.length ? cell.width : 0;
    }
    const std::string margin(indent, ' ');
    const std::string mark = "^" + std::string(marked > 1 ? marked - 1 : 0, '~');
    return margin + line + '\n' + margin + std::string(widthBefore, ' ') + styled(style, mark) + '\n';
}

} // namespace kiv::tool
