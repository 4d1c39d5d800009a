// The shop with a service: which document each start uses, and a change of the payload that arrives while the
// shop runs.

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <memory>
#include <optional>

#if defined(STOREFRONT_SHOWS_FLAGS)
#include <kiv/KIVFlagsScreen.h>
#endif

#include "Shop.h"
#include "StoreFlags.h"

namespace {

using namespace std::chrono_literals;

KIVNetworkConfigurationsOptions endpointsOf(const std::string& service) {
    return {
        .getConfigApiEndpoint = service + "/device/get_configuration",
        .getConfigCloudEndpoint = service + "/cdn",
        .sendStateApiEndpoint = service + "/device/update_state_store",
        .sendStateCloudEndpoint = service + "/states",
        .analyticsEndpoint = service + "/analytics",
        .pushNotificationEndpoint = service + "/sse",
    };
}

/// The source of the document in use, by the status of a fetch result.
const char* sourceOf(int status) {
    switch (status) {
    case 1:
        return "the document shipped with the application";
    case 2:
        return "the document stored at an earlier start";
    case 3:
        return "the service";
    default:
        return "nothing";
    }
}

/// Results of fetches. Threads of the library add them, and the main thread takes them in the same order.
class Results {
public:
    void add(const KIVFetcherResult& result) {
        const std::lock_guard lock(lock_);
        results_.push_back(result);
        changed_.notify_all();
    }

    /// The next result; nullopt when none comes within `patience`.
    std::optional<KIVFetcherResult> next(std::chrono::seconds patience) {
        std::unique_lock lock(lock_);
        if (!changed_.wait_for(lock, patience, [&] { return taken_ < results_.size(); })) {
            return std::nullopt;
        }
        return results_[taken_++];
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<KIVFetcherResult> results_;
    std::size_t taken_ = 0;
};

/// Reads flags as the shop does while a customer visits it. The document turns analytics on, so the service
/// is told of each read.
void serveCustomer(const StoreFlags& flags) {
    if (flags.newSearch.isEnabled() && flags.expressCheckout.isEnabled()) {
        flags.paymentRetries.value();
    }
    flags.buttonColor.getStringValue();
    flags.banner.getStringValue();
    flags.discount.value();
}

volatile std::sig_atomic_t interrupted = 0;

/// Registers the other containers too, so that there is more to see on the flags screen. The read at the end
/// freezes the currency.
void registerTheRest() {
    KIVCore::register_(std::make_shared<ApplicationFlags>());
    KIVCore::register_("gift", std::make_shared<GiftFlags>());
    const auto customer = std::make_shared<CustomerFlags>();
    KIVCore::register_("customer", customer);
    customer->currency.value();
}

#if defined(STOREFRONT_SHOWS_FLAGS)
std::shared_ptr<KIVFlagsScreen> showFlags(Report& report) {
    auto screen = std::make_shared<KIVFlagsScreen>(KIVCore::flagsViewController());
    const auto presented = screen->present();
    report.line("A page with all flags, to look at and override: " +
                presented.address.value_or(presented.failure));
    report.check(presented.address.has_value(), "the flags screen should be there");
    return screen;
}
#else
std::nullptr_t showFlags(Report&) { return nullptr; }
#endif

} // namespace

void runLive(const LiveRun& run, Report& report) {
    static Results& results = *new Results; // never destroyed: the library's threads outlive the run
    const auto flags = std::make_shared<StoreFlags>();
    KIVCore::register_("store", flags);
    describeCustomer();
    KIVCore::setupWithKey(sdkKey,
                          {
                              .onConfigurationFetched = [](const auto& result) { results.add(result); },
                              .customSigningCertificate = textOfFile(run.paths.certificate),
                              .defaultConfigurationPath = run.paths.document,
                              .networkConfigurations = endpointsOf(run.service),
                          });
    const auto show = [&](const std::optional<KIVFetcherResult>& result, int expected) {
        const int status = result ? result->fetcherStatus : 5;
        report.line("status " + std::to_string(status) + "   store.discount " +
                    numberText(flags->discount.value()) + "   from " +
                    (result ? result->errorDetails.value_or(sourceOf(status)) : "nowhere: no answer came"));
        report.check(status == expected, "another document was expected here");
    };
    show(results.next(10s), run.expectsStored ? 2 : 1);
    show(results.next(10s), 3);
    if (run.editedFile.empty()) {
        return;
    }

    report.space();
    if (run.stays) {
        registerTheRest();
    }
    [[maybe_unused]] const auto screen = run.stays ? showFlags(report) : nullptr;
    std::puts("  Listening for changes while the discount in the file is edited.");
    std::fflush(stdout);
    std::signal(SIGINT, [](int) { interrupted = 1; });
    do {
        const auto result = results.next(run.stays ? 1s : 20s);
        if (!result && run.stays) {
            serveCustomer(*flags);
            continue;
        }
        const auto heard = std::filesystem::file_time_type::clock::now();
        show(result, 3);
        std::error_code error;
        const auto took = heard - std::filesystem::last_write_time(run.editedFile, error);
        report.line("heard " +
                    std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(took).count()) +
                    " ms after the file was written");
        std::fflush(stdout);
        report.check(run.stays || took < 1s, "the change should come within a second");
    } while (run.stays && interrupted == 0);
    KIVCore::shutdown(); // keeps the impressions that were not sent yet
}
