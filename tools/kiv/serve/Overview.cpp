#include "serve/Overview.h"

#include <algorithm>
#include <memory>

#include "Platform/Text/Text.h"
#include "embedded/OverviewPage.h"
#include "serve/Query.h"
#include "serve/ReportedFlags.h"

namespace kiv::tool::overview {
namespace {

/// Limits of what the page shows, because applications may have sent any number of flags and values.
constexpr std::size_t mostRows = 1000;
constexpr std::int64_t mostValues = 8;
constexpr std::size_t longestLink = 4000; ///< bytes of a name; a longer one has no page of its own

std::string shortMember(const json::value& object, std::string_view name) {
    const json::string* text = textMember(object, name);
    return text ? shortened(*text) : std::string();
}

json::array properties(const json::value& state) {
    json::array rows;
    const json::array* all = arrayMember(state, "custom_properties");
    for (const json::value& each : all ? *all : json::array()) {
        if (rows.size() < mostRows) {
            rows.push_back({{"name", shortMember(each, "name")}, {"type", shortMember(each, "type")}});
        }
    }
    return rows;
}

/// What is known of a flag: from impressions, from the served document, and from the reported state.
struct Flag {
    std::string name;
    std::int64_t impressions = 0;
    std::string changed = {}; ///< empty when the document has no condition for it
    const ReportedFlag* reported = nullptr;
};

std::vector<Flag> allFlags(Records& records, const std::string& key,
                           const std::map<std::string, ReportedFlag>& reported) {
    std::map<std::string, Flag> flags;
    for (const auto& [name, flag] : reported) {
        flags[name].reported = &flag;
    }
    for (const auto& [name, impressions] : records.flagCounts(key)) {
        flags[name].impressions = impressions;
    }
    for (const auto& [name, changed] : records.flagChanges(key)) {
        flags[name].changed = changed;
    }
    std::vector<Flag> all;
    for (auto& [name, flag] : flags) {
        flag.name = name;
        all.push_back(std::move(flag));
    }
    return all;
}

/// Flags are by name already; equal ones stay so.
void sort(std::vector<Flag>& flags, const std::string& order) {
    if (order == "count") {
        std::ranges::stable_sort(flags, std::greater(), &Flag::impressions);
    } else if (order == "change") {
        std::ranges::stable_sort(flags, std::greater(), &Flag::changed);
    }
}

json::object shown(const Flag& flag, Records& records, const std::string& key) {
    json::array values;
    for (const auto& [value, count] : records.valueCounts(key, flag.name, mostValues)) {
        values.push_back({{"value", shortened(value)}, {"count", count}});
    }
    json::object row{
        {"flag", shortened(flag.name)}, {"count", flag.impressions}, {"values", std::move(values)}};
    if (flag.name.size() <= longestLink) {
        row["name"] = flag.name;
    }
    if (!flag.changed.empty()) {
        row["changed"] = flag.changed;
    }
    if (flag.reported) {
        row["type"] = flag.reported->type();
        row["default"] = shortened(flag.reported->defaultValue);
    }
    return row;
}

} // namespace

std::optional<HttpAnswer> file(std::string_view path) {
    using namespace embedded;
    constexpr std::string_view script = "text/javascript; charset=utf-8";
    constexpr std::string_view style = "text/css; charset=utf-8";
    static constexpr struct {
        std::string_view path;
        std::string_view type;
        std::string_view text;
    } files[] = {
        {pagePath, "text/html; charset=utf-8", overview_html},
        {flagPagePath, "text/html; charset=utf-8", flag_html},
        {"/overview.css", style, overview_css},
        {"/overview.js", script, overview_js},
        {"/flag.css", style, flag_css},
        {"/flag.js", script, flag_js},
        {"/chart.js", script, chart_js},
        {"/live.js", script, live_js},
    };
    const auto* found = std::ranges::find(files, path, [](const auto& each) { return each.path; });
    if (found == std::end(files)) {
        return std::nullopt;
    }
    return HttpAnswer{.body = std::make_shared<const std::string>(found->text),
                      .type = std::string(found->type),
                      .headers = {{"Content-Security-Policy",
                                   "default-src 'none'; script-src 'self'; style-src 'self'; connect-src "
                                   "'self'; img-src data:; base-uri 'none'; form-action 'none'; "
                                   "frame-ancestors 'none'"},
                                  {"Cross-Origin-Resource-Policy", "same-origin"},
                                  {"Referrer-Policy", "no-referrer"}}};
}

std::string askedKey(const std::vector<std::string>& keys, std::string_view query) {
    const auto asked = std::ranges::find(keys, parameter(query, "key"));
    return asked != keys.end() ? *asked : keys.empty() ? std::string() : keys.front();
}

HttpAnswer data(Records& records, const std::vector<std::string>& keys, const std::string& key,
                const ServedDocument& document, std::string_view query) {
    json::object shownData{{"keys", json::array(keys.begin(), keys.end())}};
    if (!keys.empty()) {
        const auto last = records.lastState(key);
        const json::value state = (last ? parseJson(last->document) : std::nullopt).value_or(json::object());
        const auto reported = reportedFlags(state);
        std::vector<Flag> flags = allFlags(records, key, reported);
        std::int64_t impressions = 0;
        for (const Flag& flag : flags) {
            impressions += flag.impressions;
        }
        const std::size_t all = flags.size();
        const std::string wanted = lowercased(parameter(query, "search"));
        std::erase_if(flags, [&](const Flag& flag) {
            return !wanted.empty() && lowercased(flag.name).find(wanted) == std::string::npos;
        });
        sort(flags, parameter(query, "sort"));
        json::array rows;
        for (std::size_t index = 0; index < std::min(flags.size(), mostRows); ++index) {
            rows.push_back(shown(flags[index], records, key));
        }
        shownData["key"] = key;
        shownData["flags"] = std::move(rows);
        shownData["totals"] = {{"flags", all}, {"found", flags.size()}, {"impressions", impressions}};
        shownData["document"] = {{"date", document.date()},
                                 {"isRefused", document.isRefused},
                                 {"findings", document.findings.size()}};
        shownData["state"] = nullptr;
        if (last) {
            json::object told{{"version", last->version}, {"received", last->received}};
            if (last->version != parameter(query, "state")) {
                told["properties"] = properties(state);
            }
            shownData["state"] = std::move(told);
        }
    }
    return {.body = std::make_shared<const std::string>(compactJson(shownData)),
            .headers = {{"Cross-Origin-Resource-Policy", "same-origin"}}};
}

} // namespace kiv::tool::overview
