#include "serve/FlagReport.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "Command.h"
#include "Platform/System/Clock.h"
#include "Platform/Text/Dates.h"
#include "config/ConfigDocument.h"
#include "evaluate/EvaluationWorld.h"
#include "serve/Query.h"
#include "serve/ReportedFlags.h"
#include "split/ExpectedShares.h"

namespace kiv::tool::overview {
namespace {

constexpr std::size_t mostValues = 8;      ///< shown one by one; the others are added up
constexpr std::int64_t latestReads = 1000; ///< whose origins are shown

/// How far a device's clock may be ahead. What it read later than that counts once the time has come.
constexpr double aheadSeconds = 60;

/// A time that ends now, cut into slots of `width` seconds.
struct Span {
    std::string_view name;
    double width;
    std::int64_t slots;
};
constexpr Span spans[] = {{"hour", 60, 60}, {"day", 1800, 48}, {"month", 86400, 30}};

double secondsOf(KIVDate date) { return std::chrono::duration<double>(date.time_since_epoch()).count(); }

json::array shownFindings(const std::vector<Finding>& findings, const Place& place) {
    json::array rows;
    for (const Finding& finding : findings) {
        if (finding.place.kind == place.kind && finding.place.index == place.index) {
            rows.push_back({{"isError", finding.isError},
                            {"position", finding.positionText()},
                            {"message", finding.message},
                            {"advice", finding.advice}});
        }
    }
    return rows;
}

/// The property that a condition divides users by: the experiment's own, or else the first one that the
/// condition asks for where it computes a percentage.
std::string dividingProperty(const KIVExperimentModel& experiment) {
    if (experiment.stickinessProperty()) {
        return *experiment.stickinessProperty();
    }
    constexpr std::string_view asks = "property(\"";
    const std::string& condition = experiment.deploymentConfiguration().condition();
    const std::size_t share = condition.find("isInPercentage");
    const std::size_t start = share == condition.npos ? share : condition.find(asks, share);
    if (start == condition.npos) {
        return "kiv.distinct_id";
    }
    const std::size_t name = start + asks.size();
    return condition.substr(name, condition.find('"', name) - name);
}

/// Whether the condition asks for more than the property of that name: then other users may have other
/// shares.
bool asksForMore(const std::string& condition, const std::string& property) {
    constexpr std::string_view asks = "property(\"";
    for (std::size_t at = 0; (at = condition.find(asks, at)) != condition.npos; at += asks.size()) {
        if (!std::string_view(condition).substr(at + asks.size()).starts_with(property + "\"")) {
            return true;
        }
    }
    return condition.find("isInTargetGroup") != condition.npos ||
           condition.find("flagValue") != condition.npos;
}

/// What the document says of the flag.
class Decision {
public:
    Decision(const ServedDocument& document, const std::string& flag)
        : document_(document), payload_(document.payload()), flag_(flag) {
        const auto all = deciders(payload_);
        if (const auto found = all.find(flag); found != all.end()) {
            index_ = found->second;
        }
    }

    /// The share of each value; nothing when there is no condition, or its shares cannot be computed.
    /// Defaults of the application count as `defaultValue`, or as nullopt when that is not known.
    using Shares = std::map<std::optional<std::string>, double>;
    std::optional<Shares> shares(const std::optional<std::string>& defaultValue, json::object& told) const {
        if (!index_) {
            return std::nullopt;
        }
        const EvaluationWorld world({}, &payload_);
        const KIVExperimentModel* experiment = world.experimentFor(flag_);
        if (!experiment) {
            return std::nullopt;
        }
        const std::string property = dividingProperty(*experiment);
        const ExpectedShares expected = expectedShares(world, flag_, property);
        told["property"] = shortened(property);
        told["asksForMore"] = asksForMore(experiment->deploymentConfiguration().condition(), property);
        told["obstacle"] = expected.obstacle;
        told["isKnown"] = expected.shares.has_value();
        if (!expected.shares) {
            return std::nullopt;
        }
        Shares shares;
        for (const auto& [outcome, share] : *expected.shares) {
            shares[outcome.kind == FlagOutcome::Kind::value ? std::optional(outcome.text) : defaultValue] +=
                share;
        }
        return shares;
    }

    json::object shown() const {
        json::object told{{"date", document_.date()}, {"isRefused", document_.isRefused}};
        if (index_) {
            const json::value& experiment = experimentsOf(payload_).at(*index_);
            const Place place = experimentPlace(*index_ + 1, experiment);
            const json::string* condition = conditionOf(experiment);
            told["experiment"] = shortened(place.text());
            told["condition"] = condition ? std::string_view(*condition) : std::string_view();
            told["findings"] = shownFindings(document_.servedFindings, place);
        }
        if (document_.isRefused) {
            json::array problems;
            for (const Finding& finding : document_.findings) {
                if (finding.isError && problems.size() < mostValues) {
                    problems.push_back(json::string(finding.line("the file")));
                }
            }
            told["problems"] = std::move(problems);
        }
        return told;
    }

private:
    const ServedDocument& document_;
    json::object payload_;
    const std::string& flag_;
    std::optional<std::size_t> index_;
};

/// The counts of a span: the most frequent values one by one, and all others together.
class Series {
public:
    Series(const std::vector<Records::SlotCount>& counts, std::int64_t slots)
        : slots_(static_cast<std::size_t>(slots)), others_(slots_) {
        std::map<std::string, std::int64_t> totals;
        for (const auto& each : counts) {
            totals[each.value] += each.impressions;
        }
        for (const auto& [value, total] : totals) {
            values_.emplace_back(total, value);
        }
        std::ranges::stable_sort(values_, [](const auto& a, const auto& b) { return a.first > b.first; });
        values_.resize(std::min(values_.size(), mostValues));
        std::map<std::string_view, std::size_t> places;
        for (const auto& [total, value] : values_) {
            places.emplace(value, places.size());
        }
        rows_.resize(values_.size(), std::vector<std::int64_t>(slots_));
        for (const auto& each : counts) {
            const auto place = places.find(each.value);
            auto& row = place == places.end() ? others_ : rows_[place->second];
            row[std::min(static_cast<std::size_t>(each.slot), slots_ - 1)] += each.impressions;
            hasOthers_ = hasOthers_ || place == places.end();
        }
    }

    json::array shown() const {
        json::array all;
        for (std::size_t index = 0; index < rows_.size(); ++index) {
            all.push_back({{"value", shortened(values_[index].second)},
                           {"counts", json::array(rows_[index].begin(), rows_[index].end())}});
        }
        if (hasOthers_) {
            all.push_back({{"isOthers", true}, {"counts", json::array(others_.begin(), others_.end())}});
        }
        return all;
    }

private:
    std::size_t slots_;
    std::vector<std::pair<std::int64_t, std::string>> values_;
    std::vector<std::vector<std::int64_t>> rows_;
    std::vector<std::int64_t> others_;
    bool hasOthers_ = false;
};

/// The observed shares beside the expected ones.
json::array shownShares(const std::vector<Records::SlotCount>& observed,
                        const std::optional<Decision::Shares>& expected, std::int64_t& all) {
    struct Row {
        std::optional<std::string> value; ///< nullopt: the application's default, which is not known
        std::int64_t count;
        std::optional<double> expected;
    };
    std::vector<Row> rows;
    std::set<std::string> seen;
    for (const auto& each : observed) {
        all += each.impressions;
        seen.insert(each.value);
        Row row{each.value, each.impressions, std::nullopt};
        if (expected) {
            const auto found = expected->find(each.value);
            row.expected = found == expected->end() ? 0 : found->second;
        }
        rows.push_back(std::move(row));
    }
    for (const auto& [value, share] : expected.value_or(Decision::Shares())) {
        if (!value || !seen.contains(*value)) {
            rows.push_back({value, 0, share});
        }
    }
    std::ranges::stable_sort(rows, [](const Row& a, const Row& b) {
        return a.count != b.count ? a.count > b.count : a.expected.value_or(0) > b.expected.value_or(0);
    });
    json::array shown;
    Row others{std::nullopt, 0, std::nullopt};
    for (std::size_t index = 0; index < rows.size(); ++index) {
        const Row& row = rows[index];
        if (index >= mostValues) {
            others.count += row.count;
            if (row.expected) {
                others.expected = others.expected.value_or(0) + *row.expected;
            }
            continue;
        }
        json::object each{{"count", row.count}};
        each["value"] = row.value ? json::value(shortened(*row.value)) : json::value();
        each["expected"] = row.expected ? json::value(*row.expected) : json::value();
        shown.push_back(std::move(each));
    }
    if (rows.size() > mostValues) {
        shown.push_back({{"isOthers", true},
                         {"count", others.count},
                         {"expected", others.expected ? json::value(*others.expected) : json::value()}});
    }
    return shown;
}

} // namespace

HttpAnswer flagData(Records& records, const std::string& key, const ServedDocument& document,
                    std::string_view query) {
    const std::string flag = parameter(query, "flag");
    const auto* named = std::ranges::find(spans, parameter(query, "span"), &Span::name);
    const Span& span = named == std::end(spans) ? spans[0] : *named;
    const double now = secondsOf(Clock::current().now());
    // The slots begin at whole multiples of their width, so that they stay as they are while time passes.
    const double end = (std::floor(now / span.width) + 1) * span.width;
    const double start = end - span.width * static_cast<double>(span.slots);
    const double latest = std::min(end, now + aheadSeconds);

    const auto last = records.lastState(key, "");
    const json::value state = (last ? parseJson(last->document) : std::nullopt).value_or(json::object());
    const auto reported = reportedFlags(state);
    const auto found = reported.find(flag);
    const std::optional<std::string> defaultValue =
        found == reported.end() ? std::nullopt : std::optional(found->second.defaultValue);

    const Decision decision(document, flag);
    json::object told{{"key", key}, {"flag", shortened(flag)}, {"document", decision.shown()}};
    const auto changes = records.flagChanges(key);
    const auto changed = changes.find(flag);
    double since = start;
    if (changed != changes.end()) {
        told["changed"] = changed->second;
        const auto date = parseDate(changed->second);
        since = date ? std::max(since, secondsOf(*date)) : since;
    }
    told["span"] =
        json::object{{"name", span.name}, {"start", start}, {"width", span.width}, {"slots", span.slots}};
    told["series"] = Series(records.countsOverTime(key, flag, start, latest, span.width), span.slots).shown();

    json::object expectation;
    const auto expected = decision.shares(defaultValue, expectation);
    std::int64_t all = 0;
    json::array shares =
        shownShares(records.countsOverTime(key, flag, since, latest, end - since + 1), expected, all);
    told["shares"] = json::object{
        {"since", since}, {"all", all}, {"rows", std::move(shares)}, {"expectation", expectation}};

    if (found != reported.end()) {
        json::array options;
        for (const std::string& option : found->second.options) {
            options.push_back(json::string(shortened(option)));
        }
        told["reported"] = json::object{{"type", found->second.type()},
                                        {"default", shortened(found->second.defaultValue)},
                                        {"options", std::move(options)},
                                        {"received", last->received}};
    }
    json::array origins;
    for (const auto& origin : records.latestOrigins(key, flag, latestReads)) {
        origins.push_back({{"version", shortened(origin.version)},
                           {"platform", shortened(origin.platform)},
                           {"count", origin.impressions}});
    }
    told["origins"] = std::move(origins);
    return {.body = std::make_shared<const std::string>(compactJson(told)),
            .headers = {{"Cross-Origin-Resource-Policy", "same-origin"}}};
}

} // namespace kiv::tool::overview
