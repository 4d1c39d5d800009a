#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "Model/KIVFeatureFlagId.h"
#include "Platform/Threads/Fork.h"

inline constexpr const char* KIVC_tweak_configurationLanguage_classicalJson = "json";
inline constexpr const char* KIVC_tweak_configurationLanguage_javascript = "javascript";

/// Holds the experiments of the configuration that is applied. Callable from any thread.
class KIVConfiguration {
public:
    KIVConfiguration() { initCreateTypes(); }

    /// Null until a configuration has been applied.
    std::shared_ptr<const KIVExperiments> conf() const {
        const kiv::Lock lock(lock_);
        return conf_;
    }

    void setConf(std::shared_ptr<const KIVExperiments> conf) {
        // The parameter destroys the former experiments after the lock is released, because they are large.
        const kiv::Lock lock(lock_);
        conf_.swap(conf);
    }

    /// The number of each configuration language, by the language's name.
    const std::map<std::string, int, std::less<>>& createTypes() const { return createTypes_; }

private:
    void initCreateTypes() {
        createTypes_ = {{KIVC_tweak_configurationLanguage_classicalJson, 0},
                        {KIVC_tweak_configurationLanguage_javascript, 1}};
    }

    mutable std::mutex lock_;
    std::shared_ptr<const KIVExperiments> conf_;
    std::map<std::string, int, std::less<>> createTypes_;
};
