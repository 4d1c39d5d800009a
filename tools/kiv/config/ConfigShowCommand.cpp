#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Command.h"
#include "Model/KIVJSONKeys.h"
#include "Platform/Text/Json.h"
#include "Terminal.h"
#include "config/ConfigDocument.h"

namespace kiv::tool {
namespace {

using Style = Terminal::Style;
using Deciders = std::map<std::string_view, std::size_t>;

constexpr const char* examples = R"(Examples:
  kiv config show configuration.json
  kiv config show payload.json --json

A flag named by several experiments is decided by the last of them that has a condition.)";

/// The value for a person to read: texts without quotes, arrays without brackets.
std::string plainText(const json::value& value) {
    if (const json::array* array = value.if_array()) {
        std::string list;
        for (const json::value& element : *array) {
            list += (list.empty() ? "" : ", ") + plainText(element);
        }
        return list;
    }
    return value.is_string() ? std::string(value.get_string()) : compactJson(value);
}

/// Lays a document out for a person.
class Page {
public:
    explicit Page(const ConfigDocument& document)
        : document_(document), experiments_(experimentsOf(document.payload)),
          groups_(targetGroupsOf(document.payload)), deciders_(deciders(document.payload)) {}

    void print() const {
        std::cout << terminal_.styled(Style::heading, printable(document_.path)) << '\n';
        field(document_.payload, KIVC_JSON_appKey, KIVC_JSON_appKey, 2);
        if (document_.envelope) {
            field(*document_.envelope, KIVC_JSON_data_signedDate, "signed", 2);
        }
        heading("experiment", experiments_.size());
        for (std::size_t index = 0; index < experiments_.size(); ++index) {
            experiment(index);
        }
        heading("flag", deciders_.size());
        flags();
        heading("target group", groups_.size());
        targetGroups();
    }

private:
    static constexpr std::size_t labelWidth = 12;
    static constexpr std::size_t experimentIndent = 5;

    void heading(std::string_view noun, std::size_t count) const {
        std::cout << '\n' << terminal_.styled(Style::heading, counted(count, noun)) << '\n';
    }

    void line(std::string_view label, const std::string& text, std::size_t indent) const {
        std::cout << terminal_.field(label, text, indent, labelWidth);
    }

    void field(const json::object& object, std::string_view name, std::string_view label,
               std::size_t indent) const {
        if (const json::value* value = member(object, name)) {
            line(label, plainText(*value), indent);
        }
    }

    void experiment(std::size_t index) const {
        const json::value& model = experiments_[index];
        const std::string name = experimentPlace(index + 1, model).name;
        std::cout << "  " << padded(std::to_string(index + 1), experimentIndent - 2)
                  << terminal_.styled(Style::heading, name.empty() ? "(no name)" : printable(name)) << '\n';
        if (const json::object* members = model.if_object()) {
            field(*members, KIVC_JSON_data_experimentsIds, "id", experimentIndent);
            for (const char* mark : {KIVC_JSON_data_experimentsArchived, KIVC_JSON_data_experimentsSticky}) {
                const json::value* value = member(model, mark);
                if (value && *value != json::value(false)) {
                    field(*members, mark, mark, experimentIndent);
                }
            }
            field(*members, KIVC_JSON_data_experimentsLabels, "labels", experimentIndent);
            field(*members, KIVC_JSON_data_experimentsStickinessProperty, "keyed by", experimentIndent);
        }
        line("flags", flagList(index), experimentIndent);
        const json::string* condition = conditionOf(model);
        line("condition", condition ? std::string(*condition) : "none, so the experiment is skipped",
             experimentIndent);
    }

    std::string flagList(std::size_t index) const {
        std::string list;
        for (const std::string_view flag : flagsOf(experiments_[index])) {
            list += (list.empty() ? "" : ", ") + std::string(flag);
            const auto decider = deciders_.find(flag);
            if (decider != deciders_.end() && decider->second != index) {
                list += " (decided by experiment " + std::to_string(decider->second + 1) + ")";
            }
        }
        return list.empty() ? "none" : list;
    }

    void flags() const {
        std::vector<std::vector<std::string>> rows;
        for (const auto& [flag, index] : deciders_) {
            const Place place = experimentPlace(index + 1, experiments_[index]);
            rows.push_back({std::string(flag), std::to_string(place.index) + " " + place.name,
                            std::string(*conditionOf(experiments_[index]))});
        }
        table(rows);
    }

    void targetGroups() const {
        std::vector<std::vector<std::string>> rows;
        for (const json::value& group : groups_) {
            const json::string* condition = textMember(group, KIVC_JSON_data_targetGroupsGroupCondition);
            rows.push_back({targetGroupPlace(0, group).name, condition ? std::string(*condition) : "none"});
        }
        table(rows);
    }

    /// The last column takes the width that the other columns leave. When that is less than `leastForLast`,
    /// the last column goes to the next line.
    void table(std::vector<std::vector<std::string>>& rows) const {
        constexpr std::size_t leastForLast = 40;
        constexpr std::size_t indent = 6;
        std::vector<std::size_t> widths;
        for (std::vector<std::string>& row : rows) {
            widths.resize(row.size() - 1);
            for (std::size_t column = 0; column < row.size(); ++column) {
                row[column] = printable(row[column]);
                if (column < widths.size()) {
                    widths[column] = std::max(widths[column], displayWidth(row[column]) + 2);
                }
            }
        }
        std::size_t used = 2;
        for (const std::size_t width : widths) {
            used += width;
        }
        const bool fits = terminal_.width() >= used + leastForLast;
        for (const std::vector<std::string>& row : rows) {
            std::cout << "  " << padded(row.front(), fits ? widths.front() : 0);
            for (std::size_t column = 1; column < widths.size(); ++column) {
                std::cout << (fits ? "" : "  ")
                          << terminal_.styled(Style::quiet, padded(row[column], fits ? widths[column] : 0));
            }
            std::cout << (fits ? "" : "\n")
                      << (fits ? terminal_.wrapped(row.back(), used, used)
                               : terminal_.wrapped(row.back(), indent))
                      << '\n';
        }
    }

    const ConfigDocument& document_;
    const json::array& experiments_;
    const json::array& groups_;
    Deciders deciders_;
    Terminal terminal_ = Terminal::ofOutput();
};

json::value orNull(const json::value* value) { return value ? *value : json::value(); }
json::value orNull(const json::string* text) { return text ? json::value(*text) : json::value(); }

json::object experimentJson(std::size_t index, const json::value& model) {
    json::array flags;
    for (const std::string_view flag : flagsOf(model)) {
        flags.emplace_back(flag);
    }
    json::object shown{{"index", index + 1}, {"id", orNull(member(model, KIVC_JSON_data_experimentsIds))}};
    const auto copy = [&](const char* name, const json::value& whenMissing) {
        const json::value* value = member(model, name);
        shown[name] = value ? *value : whenMissing;
    };
    copy(KIVC_JSON_data_experimentsName, nullptr);
    copy(KIVC_JSON_data_experimentsArchived, false);
    copy(KIVC_JSON_data_experimentsSticky, false);
    copy(KIVC_JSON_data_experimentsLabels, json::array());
    copy(KIVC_JSON_data_experimentsStickinessProperty, nullptr);
    shown["flags"] = flags;
    shown[KIVC_JSON_data_experimentsCondition] = orNull(conditionOf(model));
    return shown;
}

json::object documentJson(const ConfigDocument& document) {
    json::array experiments;
    json::array flags;
    json::array groups;
    const json::array& models = experimentsOf(document.payload);
    for (std::size_t index = 0; index < models.size(); ++index) {
        experiments.push_back(experimentJson(index, models[index]));
    }
    for (const auto& [flag, index] : deciders(document.payload)) {
        flags.push_back(
            {{"name", flag}, {"experiment", index + 1}, {"condition", orNull(conditionOf(models[index]))}});
    }
    for (const json::value& group : targetGroupsOf(document.payload)) {
        groups.push_back({{"id", orNull(member(group, KIVC_JSON_data_targetGroupsGroupId))},
                          {"condition", orNull(member(group, KIVC_JSON_data_targetGroupsGroupCondition))}});
    }
    const json::value* date =
        document.envelope ? member(*document.envelope, KIVC_JSON_data_signedDate) : nullptr;
    return {{KIVC_JSON_appKey, orNull(member(document.payload, KIVC_JSON_appKey))},
            {"signedDate", orNull(date)},
            {KIVC_JSON_data_experiments, experiments},
            {"flags", flags},
            {KIVC_JSON_data_targetGroups, groups}};
}

} // namespace

void addShowCommand(CLI::App& parent, int& exitCode) {
    struct Options {
        std::string path;
        bool asJson = false;
    };
    auto options = std::make_shared<Options>();
    CLI::App* command =
        parent.add_subcommand("show", "List the experiments, flags and target groups of a document");
    command->add_option("FILE", options->path, "Envelope or payload, - for standard input")
        ->required()
        ->type_name("");
    command->add_flag("--json", options->asJson, "Print JSON");
    command->footer(examples);
    command->callback([options, &exitCode] {
        const ConfigDocument document(options->path);
        if (options->asJson) {
            std::cout << prettyJson(documentJson(document)) << '\n';
        } else {
            Page(document).print();
        }
        exitCode = exitFine;
    });
}

} // namespace kiv::tool
