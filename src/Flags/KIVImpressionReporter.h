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
    /// An impression that the handler causes by reading a flag itself is logged and not handed to it. What
    /// the handler throws goes to the unhandled-error handler.
    void callHandler(const KIVFlagImpression& impression, bool targeting) const;

    /// Hands the impression to the analytics client, if there is one. `experiment` is the flag's, and may be
    /// null; its stickiness property says who the user is. An impression that a computed property of that
    /// name causes by reading a flag makes no event.
    void sendEvent(const KIVFlagImpression& impression, const KIVExperimentModel* experiment) const;

private:
    std::string distinctIdFor(const KIVExperimentModel* experiment,
                              const KIVFlagImpression& impression) const;

    const Parts parts_;
};
