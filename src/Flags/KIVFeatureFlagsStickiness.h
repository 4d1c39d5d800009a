#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <kiv/KIVString.h>

#include "Model/KIVFeatureFlagId.h"

/// A table of the values with which flags of sticky experiments froze, stored on disk. Nothing in the library
/// reads the values back.
class KIVFeatureFlagsStickiness {
public:
    /// `experiments` returns the experiments of the client's configuration.
    explicit KIVFeatureFlagsStickiness(std::function<std::shared_ptr<const KIVExperiments>()> experiments);

    void addStickyFlagWithName(const std::string& name, const std::string& value);
    bool isFlagSticky(const std::string& name) const { return stickyValueForFlagWithName(name).has_value(); }
    std::optional<std::string> stickyValueForFlagWithName(const std::string& name) const;
    void clearStickiness();

    /// Stores the value with which a flag froze, when its experiment is sticky and the table has no value for
    /// the flag yet.
    void receiveFlagFreezed(const KIVString& flag);

private:
    const std::function<std::shared_ptr<const KIVExperiments>()> experiments_;
    const std::string path_;
    mutable std::mutex lock_;
    std::map<std::string, std::string> stickyFlags_;
};
