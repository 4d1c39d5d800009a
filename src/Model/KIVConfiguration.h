#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "Model/KIVFeatureFlagId.h"

inline constexpr const char* KIVC_tweak_configurationLanguage_classicalJson = "json";
inline constexpr const char* KIVC_tweak_configurationLanguage_javascript = "javascript";

/// Holds the experiments of the configuration that is applied. Callable from any thread.
class KIVConfiguration {
public:
    KIVConfiguration();

    /// Null until a configuration has been applied.
    std::shared_ptr<const KIVExperiments> conf() const;
    void setConf(std::shared_ptr<const KIVExperiments> conf);

    /// The configuration languages by name.
    const std::map<std::string, int, std::less<>>& createTypes() const { return createTypes_; }

private:
    void initCreateTypes();

    mutable std::mutex lock_;
    std::shared_ptr<const KIVExperiments> conf_;
    std::map<std::string, int, std::less<>> createTypes_;
};
