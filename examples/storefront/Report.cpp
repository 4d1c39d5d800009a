#include "Report.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include <unistd.h>

namespace {

using Cells = std::vector<std::string>;

std::string aligned(const Cells& cells, const std::vector<std::size_t>& widths) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        line += cells[i];
        if (i + 1 < cells.size()) {
            line.append(widths[i] - cells[i].size() + 2, ' ');
        }
    }
    return line;
}

bool usesColour() { return isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr; }

std::string bold(const std::string& text) { return usesColour() ? "\033[1m" + text + "\033[0m" : text; }

} // namespace

void Report::heading(const std::string& text) const { std::printf("\n%s\n\n", bold(text).c_str()); }

void Report::space() const { std::puts(""); }

void Report::line(const std::string& text) const { std::printf("  %s\n", text.c_str()); }

void Report::paragraph(const std::string& text) const {
    constexpr std::size_t widest = 90;
    std::istringstream words(text);
    std::string current;
    for (std::string word; words >> word;) {
        if (!current.empty() && current.size() + 1 + word.size() > widest) {
            line(current);
            current.clear();
        }
        current += (current.empty() ? "" : " ") + word;
    }
    line(current);
    std::puts("");
}

void Report::table(const std::vector<Row>& rows) const {
    std::vector<Cells> cells;
    for (const Row& row : rows) {
        cells.push_back({row.flag, row.type, row.defaultValue, row.value, row.origin});
    }
    table({"FLAG", "TYPE", "DEFAULT", "VALUE", "CAME FROM"}, cells);
}

void Report::table(const Cells& titles, const std::vector<Cells>& rows) const {
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < titles.size(); ++i) {
        widths.push_back(titles[i].size());
        for (const Cells& row : rows) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    line(bold(aligned(titles, widths)));
    for (const Cells& row : rows) {
        line(aligned(row, widths));
    }
}

void Report::check(bool holds, const std::string& whatIsWrong) {
    if (!holds) {
        allWell_ = false;
        std::fflush(stdout);
        std::fprintf(stderr, "WRONG: %s\n", whatIsWrong.c_str());
    }
}
