#include <algorithm>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "Columns.h"
#include "Terminal.h"
#include "expression/Words.h"
#include "split/Split.h"

namespace kiv::tool {
namespace {

using Style = Terminal::Style;
using Kind = FlagOutcome::Kind;

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

/// Prints a split for a person.
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
        const std::size_t used = 2 + labels + 2 + counts + 2 + percentWidth + 2 + percentWidth + 2;
        const std::size_t room = terminal_.width() > used ? terminal_.width() - used : 0;
        const std::size_t bars = room < least ? 0 : std::min(room, widest);
        std::cout << "  "
                  << terminal_.styled(Style::quiet, padded("value", labels) + "  " +
                                                        paddedLeft("users", counts) + "  " +
                                                        paddedLeft("share", percentWidth) + "  " +
                                                        paddedLeft("expected", percentWidth))
                  << '\n';
        std::size_t others = split_.users;
        for (std::size_t index = 0; index < rows; ++index) {
            const Share& share = split_.shares[index];
            row(padded(label(share.outcome), labels), paddedLeft(std::to_string(share.count), counts),
                split_.partOf(share.count),
                share.expected ? percent(*share.expected) : paddedLeft("–", percentWidth), bars);
            others -= share.count;
        }
        if (rows < split_.shares.size()) {
            row(padded("others", labels), paddedLeft(std::to_string(others), counts), split_.partOf(others),
                paddedLeft("–", percentWidth), bars);
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
            note("The row \"others\" counts " + counted(split_.shares.size() - mostRows, "more outcome") +
                 "; --csv and --json list all.");
        }
        if (!split_.isRead) {
            std::cout << '\n';
            note("No evaluation read the property " + inQuotes(split_.property) + "." + propertyAdvice());
        }
        if (!split_.circle.empty()) {
            std::cout << '\n';
            note("The " + split_.circle +
                 " depends on itself: where the circle closes, its evaluation fails and counts as false. "
                 "'kiv config lint' shows the circle.");
        }
        if (!split_.shares.front().expected) {
            std::cout << '\n';
            note("The expected shares cannot be computed from the expression" +
                 (split_.obstacle.empty()
                      ? std::string(".")
                      : ": the value of " + inQuotes(split_.obstacle) + " depends on the ids themselves."));
        }
        const auto failed = std::ranges::find(split_.shares, Kind::failed,
                                              [](const Share& share) { return share.outcome.kind; });
        if (failed != split_.shares.end() && failed->count > 0) {
            std::cout << '\n';
            note("The evaluation fails for " + counted(failed->count, "user") + ", for example " +
                 inQuotes(split_.firstFailing) + ". 'kiv explain' tells why.");
        }
    }

    /// Which property to give instead.
    std::string propertyAdvice() const {
        const std::vector<std::string_view> asked(split_.asked.begin(), split_.asked.end());
        const std::string meant = didYouMean(split_.property, asked, " ");
        if (!meant.empty()) {
            return meant;
        }
        const std::string reads = asked.empty()
                                      ? " The condition reads no property, so all users get the same value."
                                      : " The condition reads " + listed(asked) + ".";
        return reads + (split_.keyedBy && *split_.keyedBy != split_.property
                            ? " The experiment is keyed by " + inQuotes(*split_.keyedBy) + "."
                            : "");
    }

    const Split& split_;
    Terminal terminal_ = Terminal::ofOutput();
};

} // namespace

void printSplit(const Split& split) { SplitPage(split).print(); }

} // namespace kiv::tool
