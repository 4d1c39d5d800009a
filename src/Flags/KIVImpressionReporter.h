#pragma once

#include <functional>
#include <memory>
#include <string>

#include <kiv/KIVReportingValue.h>
#include <kiv/KIVString.h>

#include "Flags/KIVImpressionEvents.h"
#include "Properties/KIVCustomPropertiesRepository.h"

class KIVExperimentModel;
class KIVUserspaceUnhandledErrorInvoker;

/// Reports impressions of flags: to the analytics client as events, and to the application's impression
/// handler. Both happen on the thread that read the flag. Immutable; callable from any thread.
class KIVImpressionReporter {
public:
    struct Parts {
        /// Identifies the user when no property does.
        std::function<std::string()> distinctId = {};
        /// May be empty.
        std::function<void(const KIVReportingValue&)> impressionHandler = {};
        std::shared_ptr<KIVCustomPropertiesRepository> propertiesRepository = {};
        std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> errorInvoker = {};
        /// Receives the events; may be null.
        std::shared_ptr<KIVImpressionEvents> analytics = {};
    };

    explicit KIVImpressionReporter(Parts parts) : parts_(std::move(parts)) {}

    bool hasHandler() const { return static_cast<bool>(parts_.impressionHandler); }

    /// Calls the application's handler, if there is one. `targeting` says whether the flag has an experiment.
    /// When the handler itself reads a flag, it does not receive that impression; the debug log says so. An
    /// exception of the handler goes to the unhandled-error handler.
    void callHandler(const KIVFlagImpression& impression, bool targeting) const;

    /// Hands the impression to the analytics client, if there is one. `experiment` is the flag's experiment,
    /// or null; its stickiness property identifies the user. When that property is computed and reads a flag,
    /// the impression of that read makes no event.
    void sendEvent(const KIVFlagImpression& impression, const KIVExperimentModel* experiment) const;

private:
    std::string distinctIdFor(const KIVExperimentModel* experiment,
                              const KIVFlagImpression& impression) const;

    const Parts parts_;
};
