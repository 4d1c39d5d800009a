#include "Flags/KIVImpressionReporter.h"

#include <chrono>
#include <utility>

#include "Model/KIVExperimentModel.h"
#include "Platform/Snapshots/Epoch.h"
#include "Platform/System/Clock.h"
#include "Runtime/Failure.h"
#include "Runtime/KIVDebugger.h"
#include "Runtime/KIVUserspaceUnhandledErrorInvoker.h"

namespace {

constexpr std::string_view distinctIdProperty = "kiv.distinct_id";

/// Marks, for its lifetime, that this thread runs a callback of the application. Converts to false when the
/// thread was already running that callback: a callback that reads flags makes impressions, and reporting
/// them would call the callback again without end.
class Entered {
public:
    explicit Entered(bool& inside) : inside_(inside), first_(!std::exchange(inside, true)) {}
    ~Entered() {
        if (first_) {
            inside_ = false;
        }
    }
    Entered(const Entered&) = delete;
    Entered& operator=(const Entered&) = delete;

    explicit operator bool() const { return first_; }

private:
    bool& inside_;
    const bool first_;
};

} // namespace

void KIVImpressionReporter::callHandler(const KIVFlagImpression& impression, bool targeting) const {
    if (!parts_.impressionHandler) {
        return;
    }
    static constinit thread_local bool isCalling = false;
    const Entered entered(isCalling);
    if (!entered) {
        KIV_DEBUG_LOG("The impression of %@ was made by the impression handler, which is not called for it",
                      impression.flagName);
        return;
    }
    const auto failure = kiv::failureOf([&] {
        parts_.impressionHandler(KIVReportingValue(std::string(impression.flagName),
                                                   std::string(impression.value), targeting,
                                                   impression.context.dynamicPropertyContext));
    });
    if (failure) {
        parts_.errorInvoker->trigger(KIVUserspaceSource::impressionHandler, *failure);
    }
}

void KIVImpressionReporter::sendEvent(const KIVFlagImpression& impression,
                                      const KIVExperimentModel* experiment) const {
    static constinit thread_local bool isSending = false;
    const Entered entered(isSending);
    if (!parts_.analytics || !entered) {
        return;
    }
    const auto failure = kiv::failureOf([&] {
        const auto sinceEpoch = kiv::Clock::current().now().time_since_epoch();
        parts_.analytics->track({.distinctId = distinctIdFor(experiment, impression),
                                 .flag = std::string(impression.flagName),
                                 .time = std::chrono::duration<double>(sinceEpoch).count(),
                                 .value = std::string(impression.value)});
    });
    if (failure) {
        KIV_DEBUG_LOG("Error: sending analytics failed: %@", failure->what());
    }
}

std::string KIVImpressionReporter::distinctIdFor(const KIVExperimentModel* experiment,
                                                 const KIVFlagImpression& impression) const {
    const kiv::ReadGuard guard;
    const auto& repository = *parts_.propertiesRepository;
    const KIVCustomProperty* property = experiment && experiment->stickinessProperty()
                                            ? repository.find(*experiment->stickinessProperty())
                                            : nullptr;
    if (!property) {
        property = repository.find(distinctIdProperty);
    }
    auto id = property ? property->stringValue(impression.flagName, impression.context.dynamicPropertyContext)
                       : std::nullopt;
    return id ? std::move(*id) : parts_.distinctId();
}
