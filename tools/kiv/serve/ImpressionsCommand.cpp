#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "Columns.h"
#include "Command.h"
#include "Terminal.h"
#include "config/DataFolder.h"
#include "serve/Database.h"

namespace kiv::tool {
namespace {

using Style = Terminal::Style;

struct Options {
    std::string folder;
    std::string data;
    std::string key;
    bool asCsv = false;
};

constexpr const char* explanation =
    R"(Prints how many impressions 'kiv serve FOLDER' has recorded, by flag and value, while the service runs or
not. The page of the service shows the same counts live.

Examples:
  kiv impressions flags
  kiv impressions flags --key 5e0bd1f2c3a4b5d6e7f80912 --csv)";

struct Count {
    std::string key;
    std::string flag;
    std::string value;
    std::int64_t impressions;
};

/// Ordered by key and flag; within a flag, the most frequent value comes first.
std::vector<Count> countsOf(const Options& options) {
    const std::string file = existingRecords(options.folder, options.data);
    try {
        Database database = Database::readOnly(file);
        Database::Statement query =
            database.prepare("SELECT app_key, flag, value, count FROM value_counts WHERE ?1 IN ('', app_key) "
                             "ORDER BY app_key, flag, count DESC, value");
        std::vector<Count> counts;
        for (bool found = query.run(std::string_view(options.key)); found; found = query.step()) {
            counts.push_back({query.text(0), query.text(1), query.text(2), query.number(3)});
        }
        return counts;
    } catch (const std::runtime_error& problem) {
        throw BadInput(file + ": cannot be read: " + problem.what(), std::nullopt,
                       "'kiv serve' brings records of an older kiv up to date when it opens them.");
    }
}

void printCsv(const std::vector<Count>& counts) {
    std::cout << "key,flag,value,impressions\n";
    for (const Count& count : counts) {
        std::cout << csvField(count.key) << ',' << csvField(count.flag) << ',' << csvField(count.value) << ','
                  << count.impressions << '\n';
    }
}

std::string shown(const std::string& text) { return text.empty() ? "(empty)" : printable(text); }

/// The counts for a person: a heading for each key and flag, and a row for each value.
class CountsPage {
public:
    explicit CountsPage(const std::vector<Count>& counts) : counts_(counts) {
        for (const Count& count : counts) {
            labels_ = std::max(labels_, displayWidth(labelOf(count)));
        }
    }

    void print() const {
        auto at = counts_.begin();
        for (std::string_view key; at != counts_.end();) {
            if (key != at->key) {
                key = at->key;
                std::cout << (at == counts_.begin() ? "" : "\n")
                          << terminal_.styled(Style::heading, printable(key)) << '\n';
            }
            const auto end = std::find_if(at, counts_.end(), [&](const Count& count) {
                return count.key != at->key || count.flag != at->flag;
            });
            printFlag(at, end);
            at = end;
        }
    }

private:
    using Place = std::vector<Count>::const_iterator;

    static constexpr std::size_t mostLabel = 40;
    static constexpr std::size_t countWidth = 11;
    static constexpr std::ptrdiff_t mostValues = 20;

    static std::string labelOf(const Count& count) {
        const std::string text = shown(count.value);
        return displayWidth(text) <= mostLabel ? text : inQuotes(count.value);
    }

    void printFlag(Place first, Place end) const {
        double all = 0;
        for (Place each = first; each != end; ++each) {
            all += static_cast<double>(each->impressions);
        }
        std::cout << "\n  " << terminal_.styled(Style::quiet, shown(first->flag)) << '\n';
        const Place rest = first + std::min(end - first, mostValues);
        for (Place each = first; each != rest; ++each) {
            row(labelOf(*each), each->impressions, all);
        }
        std::int64_t others = 0;
        for (Place each = rest; each != end; ++each) {
            others += each->impressions;
        }
        if (others > 0) {
            row(counted(static_cast<std::size_t>(end - rest), "other value"), others, all);
        }
    }

    void row(const std::string& label, std::int64_t count, double all) const {
        constexpr std::size_t widest = 40;
        const double part = static_cast<double>(count) / all;
        const std::string line = "    " + padded(label, labels_) +
                                 paddedLeft(std::to_string(count), countWidth) + "  " + percent(part) + "  ";
        const std::size_t used = displayWidth(line);
        const std::size_t room = terminal_.width() > used ? terminal_.width() - used : 0;
        std::cout << line << terminal_.styled(Style::good, bar(part, std::min(room, widest))) << '\n';
    }

    const std::vector<Count>& counts_;
    std::size_t labels_ = 0;
    Terminal terminal_ = Terminal::ofOutput();
};

int showImpressions(const Options& options) {
    const std::vector<Count> counts = countsOf(options);
    if (options.asCsv) {
        printCsv(counts);
    } else if (counts.empty()) {
        std::cout << "No impressions have been kept"
                  << (options.key.empty() ? "" : " for the key " + inQuotes(options.key)) << " yet.\n";
    } else {
        CountsPage(counts).print();
    }
    return exitFine;
}

} // namespace

void addImpressionsCommand(CLI::App& parent, int& exitCode) {
    auto options = std::make_shared<Options>();
    CLI::App* command =
        parent.add_subcommand("impressions", "Count the impressions that 'kiv serve' has recorded");
    command->add_option("FOLDER", options->folder, "Folder with the payloads, as given to 'kiv serve'")
        ->required()
        ->type_name("");
    command->add_option("--data", options->data, "Folder with the records; FOLDER/.kiv by default")
        ->type_name("DIR");
    command->add_option("--key", options->key, "Only the impressions of the application with this key")
        ->type_name("KEY");
    command->add_flag("--csv", options->asCsv, "Print comma-separated values");
    command->footer(explanation);
    command->callback([options, &exitCode] { exitCode = showImpressions(*options); });
}

} // namespace kiv::tool
