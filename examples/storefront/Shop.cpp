#include "Shop.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace {

void hearImpression(Heard& heard, const KIVReportingValue& value) {
    heard.hadExperiment[value.name()] = value.targeting();
    heard.impressions.push_back(value.description());
    if (value.name() == tickerFlag) {
        throw std::runtime_error("the shop's statistics are full");
    }
}

} // namespace

std::string textOfFile(const std::string& path) {
    std::string text;
    std::getline(std::ifstream(path), text);
    return text;
}

void describeCustomer() {
    KIVCore::setCustomStringProperty("ada", "userId");
    KIVCore::setCustomStringProperty("Ada", "firstName");
    KIVCore::setCustomStringProperty("FR", "country");
    KIVCore::setCustomStringProperty("fr-FR", "language");
    KIVCore::setCustomSemverProperty("2.10.0", "appVersion");
    KIVCore::setCustomIntProperty(12, "orders");
    KIVCore::setCustomBooleanProperty(true, "newsletter");
    KIVCore::setCustomDateTimeProperty(KIVDate(std::chrono::sys_days(std::chrono::year(2019) / 5 / 2)),
                                       "memberSince");
    KIVCore::setCustomComputedDoubleProperty([](auto, const auto&) { return 129.9; }, "cartTotal");
    KIVCore::setCustomComputedDoubleProperty(
        [](auto, const auto&) -> double { throw std::runtime_error("the scoring service is away"); },
        "recommendationScore");
}

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
    KIVCore::setUserspaceUnhandledErrorHandler([&heard](unsigned source, const KIVException& exception) {
        heard.failures.push_back("trigger " + std::to_string(source) + ": " + exception.reason());
    });
    KIVCore::setupWithKey(
        sdkKey,
        {
            .onConfigurationFetched =
                [&heard](const KIVFetcherResult& result) {
                    // Without a service the fetch fails (status 5), which a thread of the library reports.
                    if (result.fetcherStatus != 5) {
                        heard.fetched.push_back(result);
                    }
                },
            .impressionHandler = [&heard](const KIVReportingValue& value) { hearImpression(heard, value); },
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

// The impression of the last read tells whether the flag has an experiment. Reading the flag again with
// another default tells whether the experiment's expression has a value: when it has none, the read returns
// that default.
std::string originOf(const KIVString& flag, const Heard& heard) {
    const auto impression = heard.hadExperiment.find(flag.name().value_or(""));
    if (impression == heard.hadExperiment.end()) {
        return "unknown: the read made no impression";
    }
    if (!impression->second) {
        return noExperiment;
    }
    const EvaluationContext quiet{.shouldRaiseImpression = false};
    const std::string noValue = "?";
    return flag.getStringValue(&quiet, noValue) == noValue ? undefinedValue : fromExperiment;
}
