#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include <kiv/KIVReportingValue.h>
#include <kiv/KIVString.h>
#include <kiv/NotificationCenter.h>

#include "Flags/KIVFeatureFlagsRepository.h"
#include "Flags/KIVFeatureFlagsStickiness.h"
#include "Flags/KIVImpressionEvents.h"
#include "Model/KIVExperimentModel.h"
#include "Model/KIVFeatureFlagId.h"
#include "Properties/KIVCustomPropertiesRepository.h"

class KIVFlagsOverrides;
class KIVUserspaceUnhandledErrorInvoker;
class KivxParser;

/// Connects flags with the experiments of the applied configuration, and reports their impressions.
///
/// Callable from any thread. The impression handler runs on the thread that read the flag.
class KIVFeatureFlagsSetter : public std::enable_shared_from_this<KIVFeatureFlagsSetter> {
public:
    struct Parts {
        /// The fallback for who the user is.
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

    /// Gives every flag of the repository the overrides and the parser, and observes additions and
    /// impressions.
    static std::shared_ptr<KIVFeatureFlagsSetter> create(Parts parts);
    ~KIVFeatureFlagsSetter() = default;
    KIVFeatureFlagsSetter(const KIVFeatureFlagsSetter&) = delete;
    KIVFeatureFlagsSetter& operator=(const KIVFeatureFlagsSetter&) = delete;

    /// Gives every registered flag its experiment of the new configuration, or none.
    void setForExperiments(std::shared_ptr<const KIVExperiments> experiments);

    /// Runs it unless the setter was shut down, and not while it is being. It must call nothing back.
    void unlessStopped(const std::function<void()>& change) {
        const kiv::WriterLock lock(applyLock_);
        if (!isStopped_) {
            change();
        }
    }

    /// Clears all overrides and thaws the flags of level 1 and above.
    void resetForExperiments();

    /// Takes its experiment from every flag that is stored under a name other than these.
    void resetUninitializedFlags(const std::unordered_set<std::string_view>& names);

    void unfreezeFlagsWithLevel(unsigned level);
    void unfreezeFlagsWithLevel(unsigned level, std::string_view nameSpace);
    void unfreezeFlagWithName(std::string_view name);

    /// What the configuration gives for a flag, registered or not; nothing when it has no experiment or no
    /// value.
    std::optional<std::string> experimentValueWithFlagName(std::string_view name) const;

    std::shared_ptr<const KIVExperiments> experiments() const;
    const std::shared_ptr<KIVFlagsOverrides>& overrides() const { return overrides_; }

    /// Stops observing; no flag is given anything from then on.
    void shutdown();

private:
    /// The experiments with the ones that each impression asks for picked out.
    struct Applied {
        std::shared_ptr<const KIVExperiments> experiments;
        const KIVExperimentModel* analytics = nullptr;
    };

    explicit KIVFeatureFlagsSetter(Parts parts);
    void start();
    std::shared_ptr<const KIVExperimentModel> experimentFor(std::string_view name) const;
    void receiveFlagAdded(const std::shared_ptr<KIVString>& flag);
    void receiveFlagImpression(const KIVFlagImpression& impression) const;
    /// Not for impressions that the handler makes itself by reading flags.
    void callHandler(const KIVFlagImpression& impression, const KIVExperimentModel* experiment) const;
    void sendEvent(const KIVFlagImpression& impression, const KIVExperimentModel* experiment) const;
    std::string distinctIdFor(const KIVExperimentModel* experiment,
                              const KIVFlagImpression& impression) const;

    const Parts parts_;
    std::shared_ptr<KIVFlagsOverrides> overrides_;
    std::mutex applyLock_; ///< flags get the experiments of one configuration, not of two
    bool isStopped_ = false;
    kiv::Published<Applied> applied_;
    std::mutex observersLock_;
    std::vector<kiv::NotificationCenter::Token> observers_;
};
