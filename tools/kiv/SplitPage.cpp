#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <string>

#include "Split.h"
#include "Terminal.h"

namespace kiv::tool {
namespace {

using Style = Terminal::Style;
using Kind = FlagOutcome::Kind;

/// "31.25 %", in columns of one width.
std::string percent(double part) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%6.2f %%", 100 * part);
    return text.data();
}

/// A bar that fills `width` columns when the part is all, to an eighth of a column.
std::string bar(double part, std::size_t width) {
    constexpr std::array ends{"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    const auto eighths = static_cast<std::size_t>(part * static_cast<double>(8 * width) + 0.5);
    std::string text;
    for (std::size_t full = 0; full < eighths / 8; ++full) {
        text += "█";
    }
    text += ends.at(eighths % 8);
    return text.empty() && part > 0 ? ends.at(1) : text;
}

std::string label(const FlagOutcome& outcome) {
    switch (outcome.kind) {
    case Kind::undefined:
        return "default (undefined)";
    case Kind::failed:
        return "default (fails)";
    case Kind::noText:
        return "default (no text)";
    case Kind::value:
        break;
    }
    const std::string quoted = inQuotes(outcome.text);
    const bool isPlain = !outcome.text.empty() && !outcome.text.starts_with("default (") &&
                         outcome.text.front() != ' ' && outcome.text.back() != ' ';
    return isPlain ? quoted.substr(1, quoted.size() - 2) : quoted;
}

/// Lays a split out for a person.
class SplitPage {
public:
    explicit SplitPage(const Split& split) : split_(split) {}

    void print() const {
        std::cout << terminal_.styled(Style::heading, printable(split_.flag)) << '\n';
        note(split_.experiment.text() + " of " + split_.config);
        note(counted(split_.users, "user") + " by the property " + inQuotes(split_.property));
        std::cout << '\n';
        table();
        notes();
    }

private:
    static constexpr std::size_t mostRows = 20;
    static constexpr std::size_t partWidth = 8;

    void note(const std::string& text) const { std::cout << terminal_.wrapped(printable(text), 2) << '\n'; }

    void table() const {
        const std::size_t rows = std::min(split_.shares.size(), mostRows);
        std::size_t labels = displayWidth("value");
        for (std::size_t index = 0; index < rows; ++index) {
            labels = std::max(labels, displayWidth(label(split_.shares[index].outcome)));
        }
        const std::size_t counts = std::max(std::to_string(split_.users).size(), displayWidth("users"));
        constexpr std::size_t widest = 40;
        constexpr std::size_t least = 8;
        const std::size_t used = 2 + labels + 2 + counts + 2 + partWidth + 2 + partWidth + 2;
        const std::size_t room = terminal_.width() > used ? terminal_.width() - used : 0;
        const std::size_t bars = room < least ? 0 : std::min(room, widest);
        std::cout << "  "
                  << terminal_.styled(Style::quiet, padded("value", labels) + "  " + right("users", counts) +
                                                        "  " + right("share", partWidth) + "  " +
                                                        right("expected", partWidth))
                  << '\n';
        std::size_t others = split_.users;
        for (std::size_t index = 0; index < rows; ++index) {
            const Share& share = split_.shares[index];
            row(padded(label(share.outcome), labels), right(std::to_string(share.count), counts),
                split_.partOf(share.count), share.expected ? percent(*share.expected) : right("–", partWidth),
                bars);
            others -= share.count;
        }
        if (rows < split_.shares.size()) {
            row(padded("others", labels), right(std::to_string(others), counts), split_.partOf(others),
                right("–", partWidth), bars);
        }
    }

    void row(const std::string& name, const std::string& count, double part, const std::string& expected,
             std::size_t bars) const {
        std::cout << "  " << name << "  " << count << "  " << percent(part) << "  "
                  << terminal_.styled(Style::quiet, expected);
        if (bars > 0 && part > 0) {
            std::cout << "  " << terminal_.styled(Style::good, bar(part, bars));
        }
        std::cout << '\n';
    }

    void notes() const {
        if (split_.shares.size() > mostRows) {
            std::cout << '\n';
            note(std::to_string(split_.shares.size() - mostRows) +
                 " more outcomes are counted as others; --csv and --json list all.");
        }
        if (!split_.isAsked) {
            std::cout << '\n';
            note("No evaluation asks for the property " + inQuotes(split_.property) + "." +
                 (split_.keyedBy && *split_.keyedBy != split_.property
                      ? " The experiment is keyed by " + inQuotes(*split_.keyedBy) + "."
                      : std::string()));
        }
        if (!split_.shares.front().expected) {
            std::cout << '\n';
            note("The expected shares cannot be told from the expression" +
                 (split_.obstacle.empty()
                      ? std::string(".")
                      : ": what " + inQuotes(split_.obstacle) + " gives depends on the ids themselves."));
        }
        const auto failed = std::ranges::find(split_.shares, Kind::failed,
                                              [](const Share& share) { return share.outcome.kind; });
        if (failed != split_.shares.end() && failed->count > 0) {
            std::cout << '\n';
            note("For " + counted(failed->count, "user") +
                 " the evaluation fails. 'kiv explain' tells why; one is " + inQuotes(split_.firstFailing) +
                 ".");
        }
    }

    /// The text at the right end of a column.
    static std::string right(const std::string& text, std::size_t width) {
        const std::size_t own = displayWidth(text);
        return std::string(own < width ? width - own : 0, ' ') + text;
    }

    const Split& split_;
    Terminal terminal_ = Terminal::ofOutput();
};

} // namespace

void printSplit(const Split& split) { SplitPage(split).print(); }

} // namespace kiv::tool
