#include "Model/KIVConfiguration.h"

#include <utility>

KIVConfiguration::KIVConfiguration() { initCreateTypes(); }

std::shared_ptr<const KIVExperiments> KIVConfiguration::conf() const {
    const std::lock_guard lock(lock_);
    return conf_;
}

void KIVConfiguration::setConf(std::shared_ptr<const KIVExperiments> conf) {
    // What is replaced is large: it is released after the lock.
    const std::lock_guard lock(lock_);
    conf_.swap(conf);
}

void KIVConfiguration::initCreateTypes() {
    createTypes_ = {{KIVC_tweak_configurationLanguage_classicalJson, 0},
                    {KIVC_tweak_configurationLanguage_javascript, 1}};
}
