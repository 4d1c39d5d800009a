#include "Flags/KIVFeatureFlagsSetter.h"

#include <utility>

#include <kiv/KIVFlagsOverrides.h>

#include "KivxLanguage/KivxParser.h"
#include "Runtime/KIVDebugger.h"

namespace {

/// The flag that says whether impressions go to the analytics client.
constexpr std::string_view analyticsFlag = "kiv.internal.analytics";

KIVImpressionReporter impressionReporterFor(const KIVFeatureFlagsSetter::Parts& parts) {
    return KIVImpressionReporter({
        .distinctId = parts.distinctId,
        .impressionHandler = parts.impressionHandler,
        .propertiesRepository = parts.propertiesRepository,
        .errorInvoker = parts.errorInvoker,
        .analytics = parts.analytics,
    });
}

} // namespace

std::shared_ptr<KIVFeatureFlagsSetter> KIVFeatureFlagsSetter::create(Parts parts) {
    // An observer may still run on another thread when its removal returns, so the setter is retired instead
    // of destroyed.
    std::shared_ptr<KIVFeatureFlagsSetter> setter(
        new KIVFeatureFlagsSetter(std::move(parts)), [](KIVFeatureFlagsSetter* own) {
            own->shutdown();
            kiv::retire(std::unique_ptr<KIVFeatureFlagsSetter>(own));
        });
    setter->start();
    return setter;
}

KIVFeatureFlagsSetter::KIVFeatureFlagsSetter(Parts parts)
    : parts_(std::move(parts)), impressionReporter_(impressionReporterFor(parts_)),
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
    std::vector<std::pair<std::string, std::string>> passedOver; // logged without the lock
    {
        const kiv::WriterLock lock(applyLock_);
        if (isStopped_) {
            return;
        }
        const auto analytics = experiments->find(analyticsFlag);
        applied_.publish(std::make_unique<const Applied>(
            Applied{experiments, analytics == experiments->end() ? nullptr : analytics->second.get()}));
        parts_.flagsRepository->forEach([&](const std::string& name, const auto& flag) {
            std::string ownName = flag->name().value_or(name);
            const auto found = experiments->find(ownName);
            flag->setOverrides(overrides_, parts_.parser,
                               found == experiments->end() ? nullptr : found->second);
            if (ownName != name && experiments->contains(name)) {
                passedOver.emplace_back(name, std::move(ownName));
            }
        });
    }
    for (const auto& [name, ownName] : passedOver) {
        KIV_DEBUG_LOG("The experiment of %@ is passed over: that flag was registered first as %@", name,
                      ownName);
    }
}

void KIVFeatureFlagsSetter::prepare(KIVString& flag, std::string_view name) {
    const kiv::WriterLock lock(applyLock_);
    if (!isStopped_) {
        flag.setOverrides(overrides_, parts_.parser, experimentFor(flag.name().value_or(std::string(name))));
    }
}

void KIVFeatureFlagsSetter::resetUninitializedFlags(const std::unordered_set<std::string_view>& names) {
    parts_.flagsRepository->forEach([&](const std::string& name, const auto& flag) {
        if (names.empty() || !names.contains(flag->name().value_or(name))) {
            flag->setOverrides(overrides_, parts_.parser, nullptr);
        }
    });
}

void KIVFeatureFlagsSetter::resetForExperiments() {
    overrides_->clearOverrides();
    unfreezeFlagsWithLevel(KIVFreezeUntilUnfreeze);
}

void KIVFeatureFlagsSetter::unfreezeFlagsWithLevel(unsigned level) {
    parts_.flagsRepository->forEach(
        [=](const std::string&, const auto& flag) { flag->unfreezeWithLevel(level); });
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
    if (!applied.analytics && !impressionReporter_.hasHandler()) {
        return;
    }
    const auto found = applied.experiments->find(impression.flagName);
    const KIVExperimentModel* experiment =
        found == applied.experiments->end() ? nullptr : found->second.get();
    if (applied.analytics && experimentValueWithFlagName(analyticsFlag) == "true") {
        impressionReporter_.sendEvent(impression, experiment);
    }
    impressionReporter_.callHandler(impression, experiment != nullptr);
}
