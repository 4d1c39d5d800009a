#include <memory>

#include "Shop.h"
#include "StoreFlags.h"

namespace {

/// Registers the two containers of the application. Returns a function that reads all their flags.
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

/// The last line of the log that contains the text, without the line's prefix; empty when there is none.
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

} // namespace

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
    report.paragraph("The new flags have their experiments at once, without another setup or document.");
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
