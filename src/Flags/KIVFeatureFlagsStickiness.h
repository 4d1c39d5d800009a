#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <kiv/KIVString.h>

#include "Model/KIVFeatureFlagId.h"

/// A stored table of values that flags once had. It is kept, and nothing reads the values back.
class KIVFeatureFlagsStickiness {
public:
    /// `experiments` answers those of the client's configuration.
    explicit KIVFeatureFlagsStickiness(std::function<std::shared_ptr<const KIVExperiments>()> experiments);

    void addStickyFlagWithName(const std::string& name, const std::string& value);
    bool isFlagSticky(const std::string& name) const { return stickyValueForFlagWithName(name).has_value(); }
    std::optional<std::string> stickyValueForFlagWithName(const std::string& name) const;
    void clearStickiness();

    /// Keeps the value of a flag that froze, when its experiment is sticky and the flag has no value here
    /// yet.
    void receiveFlagFreezed(const KIVString& flag);

private:
    const std::function<std::shared_ptr<const KIVExperiments>()> experiments_;
    const std::string path_;
    mutable std::mutex lock_;
    std::map<std::string, std::string> stickyFlags_;
};
