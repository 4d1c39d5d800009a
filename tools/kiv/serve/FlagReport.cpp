#include "serve/FlagReport.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <optional>
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
constexpr std::size_t mostAsked = 32;      ///< values that are counted one by one
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
json::array shownSeries(const std::vector<Records::SlotCount>& counts, std::size_t slots) {
    using Row = std::vector<std::int64_t>;
    std::map<std::string, Row> rows;
    Row others(slots);
    const auto add = [&](Row& row, std::size_t slot, std::int64_t count) {
        row[std::min(slot, slots - 1)] += count;
    };
    for (const auto& each : counts) {
        Row& row = each.value ? rows.try_emplace(*each.value, slots).first->second : others;
        add(row, static_cast<std::size_t>(each.slot), each.impressions);
    }
    const auto total = [](const Row& row) {
        return std::accumulate(row.begin(), row.end(), std::int64_t{0});
    };
    std::vector<std::pair<std::int64_t, std::string_view>> order;
    for (const auto& [value, row] : rows) {
        order.emplace_back(-total(row), value);
    }
    std::ranges::sort(order);
    json::array shown;
    for (const auto& [negative, value] : order) {
        const Row& row = rows.find(std::string(value))->second;
        if (shown.size() < mostValues) {
            shown.push_back({{"value", shortened(value)}, {"counts", json::array(row.begin(), row.end())}});
        } else {
            for (std::size_t slot = 0; slot < slots; ++slot) {
                add(others, slot, row[slot]);
            }
        }
    }
    if (total(others) > 0) {
        shown.push_back({{"isOthers", true}, {"counts", json::array(others.begin(), others.end())}});
    }
    return shown;
}

/// The observed shares beside the expected ones; slots do not count here.
json::array shownShares(const std::vector<Records::SlotCount>& observed,
                        const std::vector<std::string>& asked,
                        const std::optional<Decision::Shares>& expected) {
    struct Row {
        std::int64_t count = 0;
        double expected = 0;
    };
    std::map<std::optional<std::string>, Row> rows; // nullopt: the application's default, which is not known
    Row others;
    for (const auto& each : observed) {
        (each.value ? rows[each.value] : others).count += each.impressions;
    }
    for (const auto& [value, share] : expected.value_or(Decision::Shares())) {
        const bool isOther = value && std::ranges::find(asked, *value) == asked.end();
        (isOther ? others : rows[value]).expected += share;
    }
    std::vector<std::pair<std::optional<std::string>, Row>> order(rows.begin(), rows.end());
    std::ranges::stable_sort(order, [](const auto& a, const auto& b) {
        return a.second.count != b.second.count ? a.second.count > b.second.count
                                                : a.second.expected > b.second.expected;
    });
    const auto numbers = [&](const Row& row) {
        return json::object{{"count", row.count},
                            {"expected", expected ? json::value(row.expected) : json::value()}};
    };
    json::array shown;
    for (const auto& [value, row] : order) {
        if (shown.size() < mostValues) {
            json::object each = numbers(row);
            each["value"] = value ? json::value(shortened(*value)) : json::value();
            shown.push_back(std::move(each));
        } else {
            others.count += row.count;
            others.expected += row.expected;
        }
    }
    if (others.count > 0 || others.expected > 0) {
        json::object each = numbers(others);
        each["isOthers"] = true;
        shown.push_back(std::move(each));
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

    const auto last = records.lastState(key);
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
    json::object expectation;
    const auto expected = decision.shares(defaultValue, expectation);
    auto values = records.frequentValues(key, flag, {start, latest}, mostValues);
    for (const auto& [value, share] : expected.value_or(Decision::Shares())) {
        if (value && values.size() < mostAsked && std::ranges::find(values, *value) == values.end()) {
            values.push_back(*value);
        }
    }
    const auto counts = records.countsOverTime(key, flag, {start, latest}, span.width, values);
    told["series"] = shownSeries(counts, static_cast<std::size_t>(span.slots));
    const auto observed =
        since == start ? counts : records.countsOverTime(key, flag, {since, latest}, end - since + 1, values);
    std::int64_t all = 0;
    for (const auto& each : observed) {
        all += each.impressions;
    }
    told["shares"] = json::object{{"since", since},
                                  {"all", all},
                                  {"rows", shownShares(observed, values, expected)},
                                  {"expectation", expectation}};

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
