#include <algorithm>
#include <cmath>
#include <memory>

#include "Shop.h"
#include "StoreFlags.h"

namespace {

std::shared_ptr<CustomerFlags> registerFlags() {
    const auto flags = std::make_shared<CustomerFlags>();
    KIVCore::register_("store", flags);
    return flags;
}

void showProperties(const CustomerFlags& flags, Report& report) {
    report.heading("4. Who the customer is");
    report.paragraph("The shop has set a property of each kind. A callback computes cartTotal when an "
                     "expression asks for it:");
    report.table({"PROPERTY", "KIND", "VALUE"}, {{"country", "string", "FR"},
                                                 {"appVersion", "semver", "2.10.0"},
                                                 {"orders", "int", "12"},
                                                 {"newsletter", "bool", "true"},
                                                 {"memberSince", "datetime", "2019-05-02"},
                                                 {"cartTotal", "double, computed", "129.9"}});
    const std::string before = flags.thanks.value();
    const std::string upsell = flags.upsell.value(KIVDynamicPropertyContext({{"page", "basket"}}));
    const std::string elsewhere = flags.upsell.value(KIVDynamicPropertyContext({{"page", "home"}}));
    report.space();
    report.line("store.thanks, by memberSince and newsletter            " + before);
    report.line("store.upsell, read with the context page=\"basket\"     " + upsell);
    report.line("store.upsell, read with the context page=\"home\"       " + elsewhere);
    report.check(before == "seven-years" && upsell == "socks" && elsewhere == "nothing",
                 "the customer's properties should decide these flags");
}

void showSplit(const CustomerFlags& flags, Report& report) {
    constexpr int visitors = 100'000;
    const std::vector<std::pair<std::string, double>> expected = {
        {"list", 0.5}, {"grid", 0.3}, {"mixed", 0.2}};
    std::map<std::string, int> counts;
    for (int i = 0; i < visitors; ++i) {
        const std::string id = "visitor-" + std::to_string(i);
        ++counts[flags.layout.value(KIVDynamicPropertyContext({{"visitorId", id}}))];
    }
    report.heading("5. 100,000 visitors over three layouts");
    report.paragraph("Each read passes the visitor's id, from which the device computes the layout.");
    std::vector<std::vector<std::string>> rows;
    for (const auto& [layout, share] : expected) {
        const double has = static_cast<double>(counts[layout]) / visitors;
        rows.push_back({layout, std::to_string(counts[layout]), numberText(100 * has) + " %",
                        numberText(100 * share) + " %",
                        std::string(static_cast<std::size_t>(std::lround(60 * has)), '#')});
        report.check(std::abs(has - share) < 0.005, layout + " should have another share");
    }
    report.table({"LAYOUT", "VISITORS", "SHARE", "SHOULD BE", ""}, rows);
    report.check(counts.size() == expected.size(), "there are layouts that the document does not have");
}

void showFreezing(const CustomerFlags& flags, Report& report) {
    report.heading("6. A currency that stays while the customer shops");
    std::vector<std::vector<std::string>> rows;
    const auto read = [&](const std::string& when, const std::string& expected) {
        rows.push_back({when, flags.currency.value()});
        report.check(rows.back()[1] == expected, "store.currency should be " + expected + " here");
    };
    read("first read, in France", "EUR");
    KIVCore::setCustomStringProperty("JP", "country");
    read("the country is now JP", "EUR");
    KIVCore::unfreeze();
    read("after KIVCore::unfreeze()", "JPY");
    KIVCore::setCustomStringProperty("FR", "country");
    report.paragraph("store.currency freezes at level 1.");
    report.table({"WHEN", "VALUE"}, rows);
}

void showOverride(const CustomerFlags& flags, Report& report) {
    report.heading("7. A developer's override");
    report.line("before, frozen in JP        " + flags.currency.value());
    KIVCore::overrides()->setOverride("GBP", flags.currency);
    report.line("setOverride(\"GBP\")          " + flags.currency.value());
    report.line("originalValue               " + flags.currency.originalValue());
    report.check(flags.currency.value() == "GBP", "the override should be in effect");
}

void showImpressions(const CustomerFlags& flags, Heard& heard, Report& report) {
    heard.impressions.clear();
    flags.thanks.value();
    flags.upsell.value(KIVDynamicPropertyContext({{"page", "basket"}}));
    flags.currency.value(); // overridden: no impression
    report.heading("8. What the impression handler is told");
    report.paragraph("Three reads; the overridden one makes no impression.");
    for (const std::string& line : heard.impressions) {
        report.line(line);
    }
    report.check(heard.impressions.size() == 2, "there should be two impressions");
}

void showFailures(const CustomerFlags& flags, Heard& heard, Report& report) {
    heard.failures.clear();
    const std::string shelf = flags.recommendations.isEnabled() ? "true" : "false";
    const std::string ticker = flags.ticker.value();
    report.heading("9. Callbacks of the shop that throw");
    report.paragraph("Both reads return, and each failure is reported once.");
    report.line("store.recommendations asks a computed property that throws   " + shelf);
    report.line("store.ticker makes the impression handler throw              " + ticker);
    report.space();
    for (const std::string& line : heard.failures) {
        report.line(line);
    }
    report.check(shelf == "false" && ticker == "fast", "the reads should return a value");
    report.check(heard.failures == std::vector<std::string>{"trigger 3: the scoring service is away",
                                                            "trigger 2: the shop's statistics are full"},
                 "each failure should be reported once");
}

} // namespace

void showCustomers(const Paths& paths, Heard& heard, Report& report) {
    const auto flags = registerFlags();
    setUp(paths, heard);
    showProperties(*flags, report);
    showSplit(*flags, report);
    showFreezing(*flags, report);
    showOverride(*flags, report);
    showImpressions(*flags, heard, report);
    showFailures(*flags, heard, report);
}

void showNextStart(const Paths& paths, Heard& heard, Report& report) {
    const auto flags = registerFlags();
    setUp(paths, heard);
    report.heading("10. The next start of the shop");
    const std::string kept = flags->currency.value();
    KIVCore::overrides()->clearOverrideForName("store.currency");
    const std::string cleared = flags->currency.value();
    report.line("the override is still there    " + kept);
    report.line("after clearOverrideForName     " + cleared);
    report.check(kept == "GBP" && cleared == "EUR", "the override should last until it is cleared");
}
