#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include <kiv/KIVFreezeLevel.h>
#include <kiv/KIVReportingValue.h>
#include <kiv/KIVString.h>
#include <kiv/NotificationCenter.h>

#include "Flags/KIVFeatureFlagsRepository.h"
#include "Flags/KIVFeatureFlagsStickiness.h"
#include "Flags/KIVImpressionReporter.h"
#include "Model/KIVExperimentModel.h"
#include "Model/KIVFeatureFlagId.h"
#include "Properties/KIVCustomPropertiesRepository.h"

class KIVFlagsOverrides;
class KIVUserspaceUnhandledErrorInvoker;
class KivxParser;

/// Gives flags the experiments of the applied configuration, and has their impressions reported
/// (`KIVImpressionReporter`). Callable from any thread.
class KIVFeatureFlagsSetter : public std::enable_shared_from_this<KIVFeatureFlagsSetter> {
public:
    struct Parts {
        /// Identifies the user when no property does.
        std::function<std::string()> distinctId = {};
        std::shared_ptr<KivxParser> parser = {};
        std::shared_ptr<KIVFeatureFlagsStickiness> featureFlagStickiness = {};
        std::function<void(const KIVReportingValue&)> impressionHandler = {};
        std::shared_ptr<KIVCustomPropertiesRepository> propertiesRepository = {};
        std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository = {};
        std::shared_ptr<KIVUserspaceUnhandledErrorInvoker> errorInvoker = {};
        /// Receives impressions as events; may be null.
        std::shared_ptr<KIVImpressionEvents> analytics = {};
    };

    /// Gives every flag of the repository the overrides and the parser, and from then on observes additions
    /// of flags and impressions.
    static std::shared_ptr<KIVFeatureFlagsSetter> create(Parts parts);
    ~KIVFeatureFlagsSetter() = default;
    KIVFeatureFlagsSetter(const KIVFeatureFlagsSetter&) = delete;
    KIVFeatureFlagsSetter& operator=(const KIVFeatureFlagsSetter&) = delete;

    /// Gives every registered flag the experiment of its own name in the new configuration, or takes its
    /// experiment away when the configuration has none for it.
    void setForExperiments(std::shared_ptr<const KIVExperiments> experiments);

    /// Gives a flag that is about to be registered under `name` the overrides, the parser and its experiment,
    /// so that nobody finds it without them.
    void prepare(KIVString& flag, std::string_view name);

    /// Runs `change` unless the setter was shut down; `shutdown` waits until it has run. `change` must not
    /// call the setter or the application.
    void unlessStopped(const std::function<void()>& change) {
        const kiv::WriterLock lock(applyLock_);
        if (!isStopped_) {
            change();
        }
    }

    /// Clears all overrides and thaws the flags of `KIVFreezeUntilUnfreeze` and above.
    void resetForExperiments();

    /// Takes the experiment from every flag whose name is not among `names`.
    void resetUninitializedFlags(const std::unordered_set<std::string_view>& names);

    void unfreezeFlagsWithLevel(unsigned level);
    void unfreezeFlagsWithLevel(unsigned level, std::string_view nameSpace);
    void unfreezeFlagWithName(std::string_view name);

    /// The value that the configuration gives a flag, registered or not; nullopt when the flag has no
    /// experiment or the experiment no value.
    std::optional<std::string> experimentValueWithFlagName(std::string_view name) const;

    std::shared_ptr<const KIVExperiments> experiments() const;
    const std::shared_ptr<KIVFlagsOverrides>& overrides() const { return overrides_; }

    /// Stops observing. From then on the setter gives flags nothing.
    void shutdown();

private:
    /// The applied experiments. `analytics` is the experiment that every impression consults; it is looked up
    /// once for each configuration.
    struct Applied {
        std::shared_ptr<const KIVExperiments> experiments;
        const KIVExperimentModel* analytics = nullptr;
    };

    explicit KIVFeatureFlagsSetter(Parts parts);
    void start();
    std::shared_ptr<const KIVExperimentModel> experimentFor(std::string_view name) const;
    void receiveFlagAdded(const std::shared_ptr<KIVString>& flag);
    void receiveFlagImpression(const KIVFlagImpression& impression) const;

    const Parts parts_;
    const KIVImpressionReporter impressionReporter_;
    std::shared_ptr<KIVFlagsOverrides> overrides_;
    std::mutex applyLock_; ///< held while flags get experiments, so that all get those of one configuration
    bool isStopped_ = false;
    kiv::Published<Applied> applied_;
    std::mutex observersLock_;
    std::vector<kiv::NotificationCenter::Token> observers_;
};
