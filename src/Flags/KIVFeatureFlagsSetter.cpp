#include "Flags/KIVFeatureFlagsSetter.h"

#include <utility>

#include <kiv/KIVException.h>
#include <kiv/KIVFlagsOverrides.h>

#include "KivxLanguage/KivxParser.h"
#include "Platform/System/Clock.h"
#include "Runtime/Failure.h"
#include "Runtime/KIVDebugger.h"
#include "Runtime/KIVUserspaceUnhandledErrorInvoker.h"

namespace {

constexpr std::string_view analyticsFlag = "kiv.internal.analytics";

/// Marks that this thread is inside something of the application's that may read flags; false when it was
/// already, further out. The reads make impressions again, and so on without end.
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

std::shared_ptr<KIVFeatureFlagsSetter> KIVFeatureFlagsSetter::create(Parts parts) {
    // Observers that have just been removed may still run on other threads.
    std::shared_ptr<KIVFeatureFlagsSetter> setter(
        new KIVFeatureFlagsSetter(std::move(parts)), [](KIVFeatureFlagsSetter* own) {
            own->shutdown();
            kiv::retire(std::unique_ptr<KIVFeatureFlagsSetter>(own));
        });
    setter->start();
    return setter;
}

KIVFeatureFlagsSetter::KIVFeatureFlagsSetter(Parts parts)
    : parts_(std::move(parts)),
      applied_(std::make_unique<const Applied>(Applied{std::make_shared<const KIVExperiments>(), nullptr})) {}

void KIVFeatureFlagsSetter::start() {
    overrides_ = std::make_shared<KIVFlagsOverrides>(weak_from_this());
    auto& center = kiv::NotificationCenter::defaultCenter();
    {
        const kiv::WriterLock lock(observersLock_);
        observers_.push_back(
            center.addObserver(std::string(KIVFlagAddedNotification), [this](const auto& added) {
                if (const auto* flag = added.template object<std::shared_ptr<KIVString>>()) {
                    receiveFlagAdded(*flag);
                }
            }));
        observers_.push_back(
            center.addObserver(std::string(KIVFlagImpressionNotification), [this](const auto& impressed) {
                if (const auto* impression = impressed.template object<KIVFlagImpression>()) {
                    receiveFlagImpression(*impression);
                }
            }));
    }
    const kiv::WriterLock lock(applyLock_);
    resetUninitializedFlags({});
}

void KIVFeatureFlagsSetter::shutdown() {
    {
        const kiv::WriterLock lock(applyLock_);
        isStopped_ = true;
    }
    const kiv::WriterLock lock(observersLock_);
    for (const auto token : observers_) {
        kiv::NotificationCenter::defaultCenter().removeObserver(token);
    }
    observers_.clear();
}

void KIVFeatureFlagsSetter::setForExperiments(std::shared_ptr<const KIVExperiments> experiments) {
    const kiv::WriterLock lock(applyLock_);
    if (isStopped_) {
        return;
    }
    const auto analytics = experiments->find(analyticsFlag);
    applied_.publish(std::make_unique<const Applied>(
        Applied{experiments, analytics == experiments->end() ? nullptr : analytics->second.get()}));
    std::unordered_set<std::string_view> names;
    names.reserve(experiments->size());
    for (const auto& [id, experiment] : *experiments) {
        if (const auto flag = parts_.flagsRepository->featureWithName(id.name)) {
            flag->setOverrides(overrides_, parts_.parser, experiment);
            names.insert(id.name);
        }
    }
    resetUninitializedFlags(names);
}

void KIVFeatureFlagsSetter::resetUninitializedFlags(const std::unordered_set<std::string_view>& names) {
    for (const auto& [name, flag] : parts_.flagsRepository->features()) {
        if (!names.contains(name)) {
            flag->setOverrides(overrides_, parts_.parser, nullptr);
        }
    }
}

void KIVFeatureFlagsSetter::resetForExperiments() {
    overrides_->clearOverrides();
    unfreezeFlagsWithLevel(1);
}

void KIVFeatureFlagsSetter::unfreezeFlagsWithLevel(unsigned level) {
    for (const auto& [name, flag] : parts_.flagsRepository->features()) {
        flag->unfreezeWithLevel(level);
    }
}

void KIVFeatureFlagsSetter::unfreezeFlagsWithLevel(unsigned level, std::string_view nameSpace) {
    for (const auto& [name, flag] : parts_.flagsRepository->featuresWithNamespace(nameSpace)) {
        flag->unfreezeWithLevel(level);
    }
}

void KIVFeatureFlagsSetter::unfreezeFlagWithName(std::string_view name) {
    if (const auto flag = parts_.flagsRepository->featureWithName(name)) {
        flag->unfreeze();
    }
}

std::shared_ptr<const KIVExperiments> KIVFeatureFlagsSetter::experiments() const {
    const kiv::ReadGuard guard;
    return applied_.load()->experiments;
}

std::shared_ptr<const KIVExperimentModel> KIVFeatureFlagsSetter::experimentFor(std::string_view name) const {
    const kiv::ReadGuard guard;
    const KIVExperiments& experiments = *applied_.load()->experiments;
    const auto found = experiments.find(name);
    return found == experiments.end() ? nullptr : found->second;
}

std::optional<std::string> KIVFeatureFlagsSetter::experimentValueWithFlagName(std::string_view name) const {
    const auto experiment = experimentFor(name);
    return experiment ? experiment->valueWithParser(*parts_.parser, name, EvaluationContext::initDefault())
                      : std::nullopt;
}

void KIVFeatureFlagsSetter::receiveFlagAdded(const std::shared_ptr<KIVString>& flag) {
    const kiv::WriterLock lock(applyLock_);
    if (!isStopped_) {
        flag->setOverrides(overrides_, parts_.parser, experimentFor(flag->name().value_or("")));
    }
}

void KIVFeatureFlagsSetter::receiveFlagImpression(const KIVFlagImpression& impression) const {
    const kiv::ReadGuard guard;
    const Applied& applied = *applied_.load();
    if (!applied.analytics && !parts_.impressionHandler) {
        return;
    }
    const auto found = applied.experiments->find(impression.flagName);
    const KIVExperimentModel* experiment =
        found == applied.experiments->end() ? nullptr : found->second.get();
    if (applied.analytics && experimentValueWithFlagName(analyticsFlag) == "true") {
        sendEvent(impression, experiment);
    }
    if (parts_.impressionHandler) {
        callHandler(impression, experiment);
    }
}

void KIVFeatureFlagsSetter::callHandler(const KIVFlagImpression& impression,
                                        const KIVExperimentModel* experiment) const {
    static constinit thread_local bool isCalling = false;
    const Entered entered(isCalling);
    if (!entered) {
        KIV_DEBUG_LOG("The impression of %@ was made by the impression handler, which is not called for it",
                      impression.flagName);
        return;
    }
    const auto failure = kiv::failureOf([&] {
        parts_.impressionHandler(KIVReportingValue(std::string(impression.flagName),
                                                   std::string(impression.value), experiment != nullptr,
                                                   impression.context.dynamicPropertyContext));
    });
    if (failure) {
        parts_.errorInvoker->trigger(KIVUserspaceSource::impressionHandler, *failure);
    }
}

void KIVFeatureFlagsSetter::sendEvent(const KIVFlagImpression& impression,
                                      const KIVExperimentModel* experiment) const {
    static constinit thread_local bool isSending = false;
    const Entered entered(isSending);
    if (!parts_.analytics || !entered) {
        return;
    }
    const auto failure = kiv::failureOf([&] {
        const auto sinceEpoch = kiv::Clock::current().now().time_since_epoch();
        parts_.analytics->track("impression",
                                kiv::json::object{{"distinctId", distinctIdFor(experiment, impression)},
                                                  {"flag", impression.flagName},
                                                  {"time", std::chrono::duration<double>(sinceEpoch).count()},
                                                  {"type", "IMPRESSION"},
                                                  {"value", impression.value}});
    });
    if (failure) {
        KIV_DEBUG_LOG("Error: sending analytics failed: %@", failure->what());
    }
}

std::string KIVFeatureFlagsSetter::distinctIdFor(const KIVExperimentModel* experiment,
                                                 const KIVFlagImpression& impression) const {
    const auto& repository = *parts_.propertiesRepository;
    auto property = experiment && experiment->stickinessProperty()
                        ? repository.customPropertyForName(*experiment->stickinessProperty())
                        : nullptr;
    if (!property) {
        property = repository.customPropertyForName(kiv::format("kiv.%@", "distinct_id"));
    }
    auto id = property ? property->stringValue(impression.flagName, impression.context.dynamicPropertyContext)
                       : std::nullopt;
    return id ? std::move(*id) : parts_.distinctId();
}
