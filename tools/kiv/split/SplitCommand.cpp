#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include <kiv/KIVCustomProperty.h>

#include "Columns.h"
#include "Command.h"
#include "Files.h"
#include "Platform/Text/Json.h"
#include "Platform/Text/Text.h"
#include "Terminal.h"
#include "config/ConfigDocument.h"
#include "evaluate/EvaluationOptions.h"
#include "evaluate/EvaluationRecord.h"
#include "evaluate/EvaluationWorld.h"
#include "evaluate/StepText.h"
#include "split/ExpectedShares.h"
#include "split/Split.h"

namespace kiv::tool {
namespace {

using Kind = FlagOutcome::Kind;

constexpr const char* examples = R"TEXT(Examples:
  kiv split --config configuration.json --flag store.buttonColor --property userId --count 100000
  kiv split --config configuration.json --flag store.discount --property userId --ids users.txt \
      --fixed country=FR --fixed appVersion:semver=2.10
  sort -u users.txt | kiv split --config payload.json --flag f --property userId --ids - --csv

The flag is evaluated for one user after the other, with the user's id as the value of the
property, a text. --ids takes the ids from a file, one per line, and skips empty lines; --count
makes them up: "user-1", "user-2" and so on.

The expected share is computed from the expression, for ids that are all different. It is missing
when the expression looks at the ids themselves, for example in a comparison.

A flag whose evaluation fails, or gives undefined, serves the application's default.
The document's signature is not checked; 'kiv config verify' does that.)TEXT";

constexpr std::int64_t mostUsers = 10'000'000;

struct Options {
    std::string config;
    std::string flag;
    std::string property;
    std::string ids;
    std::int64_t count = 0;
    std::vector<std::string> fixed;
    bool asJson = false;
    bool asCsv = false;
};

[[noreturn]] void refuseIds(const std::string& path, int problem) {
    throw BadInput(path + ": cannot be read: " + std::strerror(problem), {}, adviceForFile(problem));
}

/// Calls `take` with each line that is not empty.
void forEachLine(const std::string& path, const std::function<void(std::string&)>& take) {
    std::ifstream file;
    if (path != "-") {
        std::error_code ignored;
        file.open(path, std::ios::binary);
        if (!file || std::filesystem::is_directory(path, ignored)) {
            refuseIds(path, file ? EISDIR : errno);
        }
    }
    std::istream& lines = path == "-" ? std::cin : file;
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    bool isFirst = true;
    for (std::string line; std::getline(lines, line);) {
        if (std::exchange(isFirst, false) && line.starts_with(byteOrderMark)) {
            line.erase(0, byteOrderMark.size());
        }
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (!line.empty()) {
            take(line);
        }
    }
    if (lines.bad()) {
        refuseIds(path, EIO);
    }
}

void forEachId(const Options& options, const std::function<void(std::string&)>& take) {
    if (!options.ids.empty()) {
        forEachLine(options.ids, take);
        return;
    }
    for (std::int64_t number = 1; number <= options.count; ++number) {
        std::string id = "user-" + std::to_string(number);
        take(id);
    }
}

EvaluationRequest requestOf(const Options& options) {
    EvaluationRequest request;
    request.properties = propertiesFrom(options.fixed, "--fixed");
    if (std::ranges::count(request.properties, options.property, &KIVCustomProperty::name) > 0) {
        throw WrongUsage("--fixed and --property name the same property, " + inQuotes(options.property));
    }
    return request;
}

bool comesBefore(const Share& a, const Share& b) {
    const bool isDefaultOfA = a.outcome.kind != Kind::value;
    const bool isDefaultOfB = b.outcome.kind != Kind::value;
    if (isDefaultOfA != isDefaultOfB) {
        return isDefaultOfB;
    }
    return a.count != b.count ? a.count > b.count : a.outcome < b.outcome;
}

/// The names of the properties that the condition reads.
std::vector<std::string> propertiesOf(const EvaluationWorld& world, const std::string& condition,
                                      const std::string& flag) {
    EvaluationRecorder recorder(world.parser().operators());
    {
        const KivxTrace::Scope scope(recorder);
        world.evaluate(condition, flag);
    }
    std::vector<std::string> names;
    for (const PropertyRead& read : propertiesRead(recorder.evaluation(), world)) {
        if (names.empty() || names.back() != read.name) {
            names.push_back(read.name);
        }
    }
    return names;
}

Split splitOf(const Options& options, Place experiment, EvaluationWorld& world) {
    const KIVExperimentModel& model = *world.experimentFor(options.flag);
    const std::string& condition = model.deploymentConfiguration().condition();
    ExpectedShares expected = expectedShares(world, options.flag, options.property);
    Split split{options.config, std::move(experiment), options.flag, options.property};
    split.obstacle = std::move(expected.obstacle);
    split.circle = std::move(expected.circle);
    split.keyedBy = model.stickinessProperty();
    const std::string* current = nullptr;
    world.setProperty(KIVCustomProperty::withStringBlock(
        options.property, [&](std::string_view, const KIVDynamicPropertyContext&) {
            split.isRead = true;
            return std::optional<std::string>(*current);
        }));
    std::map<FlagOutcome, std::size_t> counts;
    forEachId(options, [&](std::string& id) {
        current = &id;
        const FlagOutcome outcome = FlagOutcome::of(world.evaluate(condition, options.flag));
        if (++counts[outcome] == 1 && outcome.kind == Kind::failed) {
            split.firstFailing = id;
        }
        ++split.users;
    });
    if (!split.isRead) {
        split.asked = propertiesOf(world, condition, options.flag);
    }
    if (split.users == 0) {
        throw BadInput(options.ids + ": contains no ids", {}, "Write one id on each line.");
    }
    for (const auto& [outcome, share] : expected.shares.value_or(std::map<FlagOutcome, double>())) {
        counts.try_emplace(outcome, 0);
    }
    for (const auto& [outcome, count] : counts) {
        Share share{outcome, count};
        if (expected.shares) {
            const auto found = expected.shares->find(outcome);
            share.expected = found == expected.shares->end() ? 0 : found->second;
        }
        split.shares.push_back(std::move(share));
    }
    std::ranges::sort(split.shares, comesBefore);
    return split;
}

std::string_view name(Kind kind) {
    constexpr std::array<std::string_view, 4> names{"value", "undefined", "empty", "noText"};
    return names.at(static_cast<std::size_t>(kind));
}

json::value valueOf(const FlagOutcome& outcome) {
    return outcome.kind == Kind::value ? json::value(outcome.text) : json::value();
}

json::object jsonOf(const Split& split) {
    json::array shares;
    for (const Share& share : split.shares) {
        shares.push_back({{"outcome", name(share.outcome.kind)},
                          {"value", valueOf(share.outcome)},
                          {"count", share.count},
                          {"share", split.partOf(share.count)},
                          {"expected", share.expected ? json::value(*share.expected) : json::value()}});
    }
    return {{"flag", split.flag},
            {"experiment", split.experiment.index},
            {"property", split.property},
            {"users", split.users},
            {"shares", std::move(shares)}};
}

void printCsv(const Split& split) {
    std::cout << "outcome,value,count,share,expected\n";
    for (const Share& share : split.shares) {
        std::cout << name(share.outcome.kind) << ',' << csvField(share.outcome.text) << ',' << share.count
                  << ',' << doubleText(split.partOf(share.count)) << ','
                  << (share.expected ? doubleText(*share.expected) : "") << "\n";
    }
}

int split(const Options& options) {
    if (options.ids.empty() == (options.count == 0)) {
        throw WrongUsage("split takes the ids from either --ids or --count");
    }
    if (options.asJson && options.asCsv) {
        throw WrongUsage("--json and --csv exclude each other");
    }
    if (options.config == "-" && options.ids == "-") {
        throw WrongUsage("standard input cannot be both the document and the ids");
    }
    const EvaluationRequest request = requestOf(options);
    const ConfigDocument document(options.config);
    EvaluationWorld world(request, &document.payload);
    const std::size_t index = deciderOf(document, options.flag);
    Place experiment = experimentPlace(index + 1, experimentsOf(document.payload).at(index));
    const Split result = splitOf(options, std::move(experiment), world);
    if (options.asJson) {
        std::cout << prettyJson(jsonOf(result)) << '\n';
    } else if (options.asCsv) {
        printCsv(result);
    } else {
        printSplit(result);
    }
    return exitFine;
}

} // namespace

void addSplitCommand(CLI::App& parent, int& exitCode) {
    auto options = std::make_shared<Options>();
    CLI::App* command = parent.add_subcommand("split", "Show how many users get each value of a flag");
    command
        ->add_option("--config", options->config,
                     "The document, an envelope or a payload; - for standard input")
        ->required()
        ->type_name("FILE");
    command->add_option("--flag", options->flag, "Full name of the flag")->required()->type_name("NAME");
    command->add_option("--property", options->property, "The property that holds a user's id")
        ->required()
        ->type_name("NAME");
    command->add_option("--ids", options->ids, "File with the ids, one per line; - for standard input")
        ->type_name("FILE");
    command->add_option("--count", options->count, "Number of users with made-up ids")
        ->check(CLI::Range(std::int64_t{1}, mostUsers).description(""))
        ->type_name("N");
    command
        ->add_option("--fixed", options->fixed, "A property that is the same for all users; may be repeated")
        ->type_name("NAME[:TYPE]=VALUE")
        ->allow_extra_args(false);
    command->add_flag("--json", options->asJson, "Print JSON");
    command->add_flag("--csv", options->asCsv, "Print comma-separated values");
    command->footer(examples);
    command->callback([options, &exitCode] { exitCode = split(*options); });
}

} // namespace kiv::tool
