// A shop's application: it declares flags, says a few things about its customer, and sets up with a signed
// document. `run-demo.sh` beside this file makes the document and runs the program.

#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <kiv/kiv.h>

#include "Report.h"
#include "StoreFlags.h"

namespace {

constexpr const char* sdkKey = "5e0bd1f2c3a4b5d6e7f80912";
constexpr const char* fromExperiment = "experiment";
constexpr const char* noExperiment = "default: no experiment";
constexpr const char* undefinedValue = "default: expression is undefined";

/// What the library told the application.
struct Heard {
    std::vector<KIVFetcherResult> fetched;
    std::map<std::string, bool> hadExperiment; ///< by flag, from its last impression
    std::mutex linesLock;
    std::vector<std::string> lines; ///< of the debug log
};

struct Paths {
    std::string document;
    std::string certificate;
    std::string libraryFolder;
};

std::string textOfFile(const std::string& path) {
    std::string text;
    std::getline(std::ifstream(path), text);
    return text;
}

/// Everything about the customer that the document's expressions ask for.
void describeCustomer() {
    KIVCore::setCustomStringProperty("ada", "userId");
    KIVCore::setCustomStringProperty("Ada", "firstName");
    KIVCore::setCustomStringProperty("FR", "country");
    KIVCore::setCustomStringProperty("fr-FR", "language");
    KIVCore::setCustomSemverProperty("2.10.0", "appVersion");
    KIVCore::setCustomIntProperty(12, "orders");
    KIVCore::setCustomComputedDoubleProperty([](auto, const auto&) { return 129.9; }, "cartTotal");
}

/// Comes before the first call of `KIVCore`.
void configureHost(const Paths& paths, Heard& heard) {
    KIVHost host;
    host.bundleIdentifier = "example.storefront";
    host.shortVersion = "2.10.0";
    host.libraryDirectory = paths.libraryFolder;
    host.logSink = [&heard](const std::string& line) {
        const std::lock_guard lock(heard.linesLock);
        heard.lines.push_back(line);
    };
    KIVHost::configure(host);
}

void setUp(const Paths& paths, Heard& heard) {
    describeCustomer();
    KIVCore::setupWithKey(
        sdkKey,
        {
            .onConfigurationFetched =
                [&heard](const KIVFetcherResult& result) { heard.fetched.push_back(result); },
            .impressionHandler =
                [&heard](const KIVReportingValue& value) {
                    heard.hadExperiment[value.name()] = value.targeting();
                },
            .verbose = 1,
            .customSigningCertificate = textOfFile(paths.certificate),
            .defaultConfigurationPath = paths.document,
            .networkConfigurations = KIVNetworkConfigurationsOptions(), // no endpoints: the shop is offline
        });
}

std::string numberText(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", number);
    return text;
}

std::string typeOf(const KIVFlag&) { return "boolean"; }
std::string typeOf(const KIVString&) { return "string"; }
std::string typeOf(const KIVInt&) { return "integer"; }
std::string typeOf(const KIVDouble&) { return "double"; }

std::string read(const KIVFlag& flag) { return flag.isEnabled() ? "true" : "false"; }
std::string read(const KIVString& flag) { return flag.value(); }
std::string read(const KIVInt& flag) { return std::to_string(flag.value()); }
std::string read(const KIVDouble& flag) { return numberText(flag.value()); }

/// Where the value of the last read came from: its impression says whether there was an experiment, and a
/// read with another default shows whether the experiment's expression gave a value.
std::string originOf(const KIVString& flag, const Heard& heard) {
    const auto impression = heard.hadExperiment.find(flag.name().value_or(""));
    if (impression == heard.hadExperiment.end()) {
        return "unknown: nobody announced the read";
    }
    if (!impression->second) {
        return noExperiment;
    }
    const EvaluationContext quiet{.shouldRaiseImpression = false};
    const std::string noValue = "?";
    return flag.getStringValue(&quiet, noValue) == noValue ? undefinedValue : fromExperiment;
}

template <class... Flags>
std::vector<Row> rowsOf(const Heard& heard, const Flags&... flags) {
    std::vector<Row> rows;
    const auto add = [&](const auto& flag) {
        const std::string value = read(flag);
        rows.push_back({flag.name().value_or("(none)"), typeOf(flag), flag.defaultValue(), value,
                        originOf(flag, heard)});
    };
    (add(flags), ...);
    return rows;
}

/// Registers the two containers of the application and answers how to read them.
auto registerContainers(const Heard& heard) {
    auto store = std::make_shared<StoreFlags>();
    auto application = std::make_shared<ApplicationFlags>();
    KIVCore::register_("store", store);
    KIVCore::register_(application);
    return [store, application, &heard] {
        return rowsOf(heard, store->expressCheckout, store->newSearch, store->buttonColor, store->greeting,
                      store->banner, store->paymentRetries, store->discount, application->maintenance,
                      application->checkoutFlow, application->itemsPerPage, application->freeDeliveryFrom);
    };
}

struct Expected {
    std::string value;
    std::string origin;
};

void checkRows(Report& report, const std::vector<Row>& rows,
               const std::map<std::string, Expected>& expected) {
    report.check(rows.size() == expected.size(), "the table has another number of rows than expected");
    for (const Row& row : rows) {
        const auto found = expected.find(row.flag);
        report.check(found != expected.end(), row.flag + " is not expected here");
        if (found != expected.end()) {
            report.check(row.value == found->second.value && row.origin == found->second.origin,
                         row.flag + " should be " + found->second.value + ", " + found->second.origin);
        }
    }
}

void showGenuine(const Paths& paths, Heard& heard, Report& report) {
    const auto readAll = registerContainers(heard);
    setUp(paths, heard);

    report.heading("1. Flags read from the signed document");
    report.paragraph("Setup verified and applied the document before it returned. Then each flag was read.");
    const std::vector<Row> rows = readAll();
    report.table(rows);
    checkRows(report, rows,
              {{"store.expressCheckout", {"true", fromExperiment}},
               {"store.newSearch", {"true", noExperiment}},
               {"store.buttonColor", {"green", fromExperiment}},
               {"store.greeting", {"Bonjour, Ada", fromExperiment}},
               {"store.banner", {"none", undefinedValue}},
               {"store.paymentRetries", {"5", fromExperiment}},
               {"store.discount", {"0.15", fromExperiment}},
               {"maintenance", {"false", noExperiment}},
               {"checkoutFlow", {"one-page", fromExperiment}},
               {"itemsPerPage", {"40", fromExperiment}},
               {"freeDeliveryFrom", {"35.5", fromExperiment}}});
    report.check(heard.fetched.size() == 1 && heard.fetched[0].fetcherStatus == 1 &&
                     !heard.fetched[0].errorDetails,
                 "setup should have applied the embedded document");

    report.heading("2. A container registered after the document was applied");
    report.paragraph("No other setup and no other document: the flags have their experiments at once.");
    const auto gift = std::make_shared<GiftFlags>();
    KIVCore::register_("gift", gift);
    const std::vector<Row> late = rowsOf(heard, gift->wrapping, gift->card, gift->ribbon);
    report.table(late);
    checkRows(report, late,
              {{"gift.wrapping", {"true", fromExperiment}},
               {"gift.card", {"true", fromExperiment}},
               {"gift.ribbon", {"white", noExperiment}}});
    report.check(heard.fetched.size() == 1, "no other document should have been applied in between");
}

/// The message of the log's last line that holds the text; empty when there is none.
std::string lineWith(Heard& heard, const std::string& text) {
    const std::lock_guard lock(heard.linesLock);
    for (auto line = heard.lines.rbegin(); line != heard.lines.rend(); ++line) {
        if (line->find(text) != std::string::npos) {
            const std::size_t prefix = line->find(" - ");
            return prefix == std::string::npos ? *line : line->substr(prefix + 3);
        }
    }
    return "";
}

void showRefused(const Paths& paths, Heard& heard, Report& report) {
    const auto readAll = registerContainers(heard);
    setUp(paths, heard);

    report.heading("3. The same document with one byte changed: the discount is 0.95");
    const std::string refusal = lineWith(heard, "KIVNetwork_signatureWasNotVerified");
    report.paragraph(
        "Setup refuses the document, and every flag serves its default. The debug log says why:");
    report.paragraph(refusal);
    report.check(!refusal.empty(), "the debug log should name the signature as the reason");
    report.check(heard.fetched.empty(), "no document should have been applied");
    const std::vector<Row> rows = readAll();
    report.table(rows);
    for (const Row& row : rows) {
        report.check(row.value == row.defaultValue && row.origin == noExperiment,
                     row.flag + " should serve its default");
    }
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() != 4 || (arguments[0] != "genuine" && arguments[0] != "tampered")) {
        std::fputs("usage: storefront genuine|tampered DOCUMENT CERTIFICATE FOLDER\n", stderr);
        return 2;
    }
    // The library may still call its handlers while the process ends.
    static Heard& heard = *new Heard;
    const Paths paths{arguments[1], arguments[2], arguments[3]};
    configureHost(paths, heard);
    Report report;
    (arguments[0] == "genuine" ? showGenuine : showRefused)(paths, heard, report);
    return report.allWell() ? 0 : 1;
}
