#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "Command.h"

namespace kiv::tool {

/// The text with every character that would control a terminal written as an escape, and malformed UTF-8
/// replaced.
std::string printable(std::string_view text);

/// The text with its tabs and line ends as spaces.
std::string onOneLine(std::string_view text);

/// The text in double quotes, printable, and cut after 40 characters.
std::string inQuotes(std::string_view text);

/// "1 error", "2 errors".
std::string counted(std::size_t count, std::string_view noun);

/// Columns that a printable text takes.
std::size_t displayWidth(std::string_view text);

/// The text, followed by spaces up to `width` columns. A longer text stays as it is.
std::string padded(std::string_view text, std::size_t width);

/// Line and column of a byte of a text, counted from 1; columns are characters.
struct LineColumn {
    std::size_t line;
    std::size_t column;
};
LineColumn lineColumn(std::string_view text, std::size_t position);

/// Where the spot is, for a message: "column 5", or "line 2, column 5" below the first line.
std::string positionText(const Spot& spot);

/// What is wrong and where, printable, without the advice: unknown word "foo" — column 5.
std::string messageText(const BadInput& problem);

/// Where the output goes: a person's terminal, with a width and perhaps colours, or a file or pipe.
class Terminal {
public:
    enum class Style { heading, quiet, good, warning, error };

    static Terminal ofOutput();
    static Terminal ofErrors();

    bool isTerminal() const { return isTerminal_; }

    /// Columns of a line. In a file or pipe a line has no limit: `npos`.
    std::size_t width() const { return width_; }

    std::string styled(Style style, std::string_view text) const;

    /// Breaks the text at spaces and indents each line by `indent`. With `first`, the first line continues a
    /// line that is already `first` columns long, and is not indented. No line break at the end.
    std::string wrapped(std::string_view text, std::size_t indent,
                        std::size_t first = std::string::npos) const;

    /// A label after `indent` spaces, and a text wrapped in the column that begins `labelWidth` columns after
    /// the label's start. A label that leaves no space before that column has a line of its own. Ends with a
    /// line break.
    std::string field(std::string_view label, std::string_view text, std::size_t indent,
                      std::size_t labelWidth) const;

    /// The line that contains the spot, and below it a mark under the spot. A line that is too long is cut to
    /// what is around the spot, and tabs become spaces. Each of the two lines ends with a line break.
    std::string excerpt(const Spot& spot, std::size_t indent, Style style) const;

private:
    explicit Terminal(int descriptor);

    bool isTerminal_;
    bool colours_ = false;
    std::size_t width_;
};

} // namespace kiv::tool
